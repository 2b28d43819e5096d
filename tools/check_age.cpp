#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "engines/index_name.h"
#include "engines/text_lines.h"
#include "tools/check.h"
#include "update/paths.h"

namespace {

constexpr double kSecondsPerHour = 3600;
constexpr std::size_t kStateLineLimit = 1022;

// Reads the state file that updatenow-run writes. Without this file there are no values.
std::map<std::string, double> readState() {
  std::map<std::string, double> values;
  LineReader reader(kStateFile, kStateLineLimit);
  std::string line;
  while (reader.next(line)) {
    const std::size_t blank = line.find(' ');
    if (line[0] != '#' && blank != std::string::npos)
      values[line.substr(0, blank)] = std::strtod(line.c_str() + blank, nullptr);
  }
  return values;
}

}  // namespace

int checkAge(const EngineFormat& format, const Places& places, double warningAge,
             double criticalAge) {
  const char* const names[] = {"OK", "WARNING", "CRITICAL"};
  const std::string index = places.installed(format.index);
  struct stat found = {};
  const auto isThere = [&found](const std::string& path) {
    return stat(path.c_str(), &found) == 0 && found.st_size > 0;
  };
  // While an installation replaces the index, the old index is in its journal.
  if (!isThere(index) && !isThere(places.installed(journalName(format.index)) + "/before")) {
    std::printf("UPDATENOW CRITICAL - no installed index %s\n", index.c_str());
    return kCritical;
  }
  const double age = std::difftime(std::time(nullptr), found.st_mtime) / kSecondsPerHour;
  int status = age >= criticalAge ? kCritical : age >= warningAge ? kWarning : kOk;

  const std::map<std::string, double> state = readState();
  const auto last = state.find("updatenow_last_status");
  std::string run = "no outcome of a run is recorded";
  if (last != state.end()) {
    run = last->second == 0   ? "the last run succeeded"
          : last->second == 1 ? "the last run brought no update"
                              : "something in the last run failed";
    if (last->second != 0) status = kCritical;
  }
  std::printf("UPDATENOW %s - index is %.1f hours old, %s | age=%.0fs;%.0f;%.0f;0\n", names[status],
              age, run.c_str(), age * kSecondsPerHour, warningAge * kSecondsPerHour,
              criticalAge * kSecondsPerHour);
  return status;
}
