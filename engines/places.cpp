#include "engines/places.h"

#include <algorithm>
#include <filesystem>

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
bool isOrHolds(const std::string& directory, const std::string& path) {
  const fs::path holder = resolved(directory);
  std::error_code error;
  for (fs::path place = resolved(path);; place = place.parent_path()) {
    if (place == holder || fs::equivalent(place, holder, error)) return true;
    if (!place.has_relative_path()) return false;
  }
}

}  // namespace

bool arePlacesApart(const Session& session) {
  if (!session.isOpen()) return true;
  const auto refuse = [&session](const char* what, const std::string& path, const char* how,
                                 const std::string& other) {
    writeLog(session.log, "%s%s directory %s is or %s %s\n", session.format->prefix, what,
             path.c_str(), how, other.c_str());
    return false;
  };
  const std::string& base = session.basePath;
  const std::string backup = session.backupPath.value_or("");
  if (isOrHolds(base, session.tempPath))
    return refuse("Temp", session.tempPath, "lies in the database", base);
  if (backup.empty()) return true;
  if (isOrHolds(base, backup)) return refuse("Backup", backup, "lies in the database", base);
  std::vector<std::string> places{base, session.tempPath};
  places.insert(places.end(), std::begin(kOwn), std::end(kOwn));
  for (const std::string& place : places)
    if (isOrHolds(backup, place)) return refuse("Backup", backup, "holds", place);
  return true;
}

// Only a name with a folder in it can leave the directory that it is fetched into. Where
// that lies in such a place itself, nothing is reached by the name.
bool reachesPlaces(const Session& session, const std::string& name) {
  if (name.find('/') == std::string::npos) return false;
  const auto holds = [&session, target = session.downloaded(name)](const std::string& place) {
    return !place.empty() && isOrHolds(place, target) && !isOrHolds(place, session.downloadPath);
  };
  return holds(session.basePath) || holds(session.backupPath.value_or("")) ||
         std::any_of(std::begin(kOwn), std::end(kOwn), holds);
}
