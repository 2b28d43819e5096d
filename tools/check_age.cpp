#include <sys/stat.h>

#include <algorithm>
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
// The clock of a mirror may be a little fast.
constexpr double kFutureHours = -5.0 / 60;

// Reads the state file that updatenow-run writes. Without this file there are no values.
std::map<std::string, double> readState() {
  std::map<std::string, double> values;
  LineReader reader(kStateFile, kIndexLineLimit);
  std::string line;
  while (reader.next(line)) {
    const std::size_t blank = line.find(' ');
    if (line[0] != '#' && blank != std::string::npos)
      values[line.substr(0, blank)] = std::strtod(line.c_str() + blank, nullptr);
  }
  return values;
}

double hoursSince(double time) {
  return (static_cast<double>(std::time(nullptr)) - time) / kSecondsPerHour;
}

// Tells the last run in words, and raises the status when that run did not succeed.
std::string lastRun(double criticalAge, int& status) {
  std::map<std::string, double> state = readState();
  if (state.count("updatenow_last_status") == 0) {
    if (!isThere(kStateFile)) return "no outcome of a run is recorded";
    status = std::max<int>(status, kWarning);
    return std::string("the outcome of the last run cannot be read from ") + kStateFile;
  }
  const double success = state["updatenow_last_success_timestamp_seconds"];
  const bool isLong = success > 0 && hoursSince(success) >= criticalAge;
  const double outcome = state["updatenow_last_status"];
  if (outcome != 0) status = std::max<int>(status, isLong ? kCritical : kWarning);
  const char* const said = outcome == 0   ? "succeeded"
                           : outcome == 1 ? "brought no update"
                                          : "failed in part";
  char text[64];
  std::snprintf(text, sizeof text, "the last run, %.1f hours ago, %s",
                std::max(0.0, hoursSince(state["updatenow_last_run_timestamp_seconds"])), said);
  return text;
}

}  // namespace

int checkAge(const EngineFormat& format, const Places& places, double warningAge,
             double criticalAge) {
  const char* const names[] = {"OK", "WARNING", "CRITICAL"};
  const std::string index = places.installed(format.index);
  struct stat found = {};
  const auto isIndex = [&found](const std::string& path) {
    return stat(path.c_str(), &found) == 0 && found.st_size > 0;
  };
  // While an installation replaces the index, the old index is in its journal.
  if (!isIndex(index) && !isIndex(places.installed(journalName(format.index)) + "/before")) {
    std::printf("UPDATENOW CRITICAL - no installed index %s\n", index.c_str());
    return kCritical;
  }
  const double hours = hoursSince(static_cast<double>(found.st_mtime));
  const double age = std::max(0.0, hours);
  const bool isFuture = hours < kFutureHours;
  int status = age >= criticalAge ? kCritical : age >= warningAge || isFuture ? kWarning : kOk;
  const std::string run = lastRun(criticalAge, status);
  std::printf("UPDATENOW %s - index is %.1f hours %s, %s | age=%.0fs;%.0f;%.0f;0\n", names[status],
              isFuture ? -hours : age, isFuture ? "in the future" : "old", run.c_str(),
              age * kSecondsPerHour, warningAge * kSecondsPerHour, criticalAge * kSecondsPerHour);
  return status;
}
