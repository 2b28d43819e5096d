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

constexpr double kWarningHours = 24;
constexpr double kCriticalHours = 72;

struct Options {
  bool files = false, setup = false, index = false;
  std::string directory;  // with files; empty means the database
  double warning = kWarningHours, critical = kCriticalHours;
};

void printUsage() {
  std::puts(
      "usage: updatenow-check [-w HOURS] [-c HOURS]\n"
      "       updatenow-check --files [DIRECTORY]\n"
      "       updatenow-check --setup\n"
      "       updatenow-check --index");
}

// Returns false when the arguments are wrong or ask for help.
bool parse(int argc, char** argv, Options& options) {
  static const option kOptions[] = {{"files", no_argument, nullptr, 'f'},
                                    {"setup", no_argument, nullptr, 's'},
                                    {"index", no_argument, nullptr, 'i'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
  for (int option; (option = getopt_long(argc, argv, "w:c:h", kOptions, nullptr)) != -1;) {
    char* end = nullptr;
    double* const hours = option == 'w' ? &options.warning : &options.critical;
    switch (option) {
      case 'f': options.files = true; break;
      case 's': options.setup = true; break;
      case 'i': options.index = true; break;
      case 'w':
      case 'c':
        *hours = std::strtod(optarg, &end);
        if (end == optarg || *end != '\0' || !(*hours >= 0)) return false;
        break;
      default: return false;
    }
  }
  if (options.files && optind < argc) options.directory = argv[optind++];
  return optind == argc;
}

int run(const Options& options, const EngineSettings& settings) {
  if (options.setup) return checkSetup(settings);
  const EngineFormat* const format = installedFormat();
  if (format == nullptr || settings.basePath == nullptr) {
    std::puts(
        "UPDATENOW UNKNOWN - no scanning engine or no BasesPath; try updatenow-check --setup");
    return kUnknown;
  }
  const Places places{settings.basePath, "", "", {}};
  if (options.index) return std::puts(places.installed(format->index).c_str()) < 0;
  if (options.files)
    return checkFiles(*format, options.directory.empty() ? places.base : options.directory);
  return checkAge(*format, places, options.warning, options.critical);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, options)) {
    printUsage();
    return kUnknown;
  }
  int status = kUnknown;
  const auto use = [&](const EngineSettings& settings) { status = run(options, settings); };
  if (withConfiguration(kUpdateConfig, kMainConfig, use) != kDone)
    std::puts("UPDATENOW UNKNOWN - a configuration file cannot be read");
  return status;
}
