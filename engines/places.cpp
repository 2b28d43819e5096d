#include "engines/places.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <vector>

#include "update/paths.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kOwn[] = {kConfigDirectory, kLockDirectory, kLogDirectory};

fs::path resolved(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path real = error ? absolute : fs::weakly_canonical(absolute, error);
  const fs::path normal = (error ? fs::path(path) : real).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();  // no final slash
}

// Also when the directory is mounted in two places.
bool isOrHolds(const fs::path& directory, const fs::path& path) {
  std::error_code error;
  for (fs::path place = path;; place = place.parent_path()) {
    if (place == directory || fs::equivalent(place, directory, error)) return true;
    if (!place.has_relative_path()) return false;
  }
}

}  // namespace

bool arePlacesApart(const std::string& base, const std::string& temp, const std::string& backup,
                    const char* prefix, QX_AVUpdateLog* log) {
  const fs::path realBase = resolved(base);
  if (isOrHolds(realBase, resolved(temp))) {
    writeLog(log, "%sTemp directory %s is or lies in the database %s\n", prefix, temp.c_str(),
             base.c_str());
    return false;
  }
  if (backup.empty()) return true;
  const fs::path realBackup = resolved(backup);
  if (isOrHolds(realBase, realBackup)) {
    writeLog(log, "%sBackup directory %s is or lies in the database %s\n", prefix, backup.c_str(),
             base.c_str());
    return false;
  }
  std::vector<std::string> places{base, temp};
  places.insert(places.end(), std::begin(kOwn), std::end(kOwn));
  for (const std::string& place : places) {
    if (!isOrHolds(realBackup, resolved(place))) continue;
    writeLog(log, "%sBackup directory %s is or holds %s\n", prefix, backup.c_str(), place.c_str());
    return false;
  }
  return true;
}

bool reachesPlaces(const std::string& path, const std::string& base, const std::string& backup) {
  const fs::path real = resolved(path);
  const auto holds = [&real](const std::string& place) {
    return !place.empty() && isOrHolds(resolved(place), real);
  };
  return holds(base) || holds(backup) || std::any_of(std::begin(kOwn), std::end(kOwn), holds);
}
