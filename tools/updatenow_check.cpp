// updatenow-check: checks the signature database and the setup, for administrators and
// monitoring.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "app/update_command.h"
#include "tools/check.h"
#include "update/coordinator.h"
#include "update/paths.h"

namespace {

struct Options {
  int question = 0;                    // the letter of a long option below; 0 asks for the age
  std::string directory;               // with --files; empty means the database
  double warning = 24, critical = 72;  // hours
};

constexpr char kUsage[] =
    "usage: updatenow-check [-w HOURS] [-c HOURS]    -w 24 -c 72; -w must not be above -c\n"
    "       updatenow-check --files [DIRECTORY] | --setup | --index | --help | --version";

// Returns false when the arguments are wrong.
bool parse(int argc, char** argv, Options& options) {
  static const option kOptions[] = {
      {"files", no_argument, nullptr, 'f'},   {"setup", no_argument, nullptr, 's'},
      {"index", no_argument, nullptr, 'i'},   {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'v'}, {nullptr, 0, nullptr, 0}};
  for (int letter; (letter = getopt_long(argc, argv, "w:c:h", kOptions, nullptr)) != -1;) {
    if (letter == '?') return false;
    if (letter == 'w' || letter == 'c') {
      char* end = nullptr;
      double& hours = letter == 'w' ? options.warning : options.critical;
      hours = std::strtod(optarg, &end);
      if (end == optarg || *end != '\0' || !(hours >= 0)) return false;
    } else {
      options.question = letter;
    }
  }
  if (options.question == 'f' && optind < argc) options.directory = argv[optind++];
  return optind == argc && options.warning <= options.critical;
}

int run(const Options& options, const EngineSettings& settings) {
  if (options.question == 's') return checkSetup(settings);
  const EngineFormat* const format = installedFormat();
  if (format == nullptr || settings.basePath == nullptr) {
    std::puts("UPDATENOW UNKNOWN - no engine or no BasesPath; try updatenow-check --setup");
    return kUnknown;
  }
  const Places places{settings.basePath, "", "", {}};
  if (options.question == 'i') return std::puts(places.installed(format->index).c_str()) < 0;
  if (options.question == 'f')
    return checkFiles(*format, options.directory.empty() ? places.base : options.directory);
  return checkAge(*format, places, options.warning, options.critical);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const bool isUsage = parse(argc, argv, options);
  if (isUsage && options.question == 'v')
    return std::puts("updatenow-check " UPDATENOW_VERSION) < 0;
  if (!isUsage || options.question == 'h') {
    std::puts(kUsage);
    return isUsage ? kOk : kUnknown;
  }
  int status = kUnknown;
  const auto use = [&](const EngineSettings& settings) { status = run(options, settings); };
  if (withConfiguration(kUpdateConfig, kMainConfig, use) != kDone)
    std::puts("UPDATENOW UNKNOWN - a configuration file cannot be read");
  return status;
}
