#include "engines/places.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "update/paths.h"

namespace fs = std::filesystem;

namespace {

fs::path resolved(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path real = error ? absolute : fs::weakly_canonical(absolute, error);
  const fs::path normal = (error ? fs::path(path) : real).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();  // no final slash
}

bool isOrHolds(const fs::path& directory, const fs::path& path) {
  return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first ==
         directory.end();
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
  for (const std::string& place : {base, temp, std::string(kConfigDirectory),
                                   std::string(kLockDirectory), std::string(kLogDirectory)}) {
    if (!isOrHolds(realBackup, resolved(place))) continue;
    writeLog(log, "%sBackup directory %s is or holds %s\n", prefix, backup.c_str(), place.c_str());
    return false;
  }
  return true;
}
