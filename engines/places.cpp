#include "engines/places.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

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

// Whether a directory is a path or holds it. A mount may give the directory another name,
// and so may a file system on which upper and lower case are the same.
bool isOrHolds(const std::string& directory, const std::string& path) {
  const fs::path holder = resolved(directory);
  std::error_code error;
  for (fs::path place = resolved(path);; place = place.parent_path()) {
    if (place == holder || fs::equivalent(place, holder, error)) return true;
    if (!place.has_relative_path()) return false;
  }
}

// A directory and the folders in it. Each of them may be mounted in another place, too.
std::vector<std::string> foldersOf(const std::string& directory) {
  std::vector<std::string> folders{directory};
  std::error_code error;
  for (fs::recursive_directory_iterator entry(directory, error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
    if (entry->is_directory(error)) folders.push_back(entry->path());
  return folders;
}

}  // namespace

bool isOrHoldsAny(const std::vector<std::string>& directories, const std::string& path) {
  return std::any_of(directories.begin(), directories.end(),
                     [&path](const std::string& directory) { return isOrHolds(directory, path); });
}

bool arePlacesApart(const Places& places, const char* prefix, QX_AVUpdateLog* log) {
  if (places.base.empty()) return true;
  const auto refuse = [&](const char* what, const std::string& path, const char* how,
                          const std::string& other) {
    writeLog(log, "%s%s directory %s is or %s %s\n", prefix, what, path.c_str(), how,
             other.c_str());
    return false;
  };
  const std::vector<std::string> folders = foldersOf(places.base);
  if (isOrHoldsAny(folders, places.temp))
    return refuse("Temp", places.temp, "lies in the database", places.base);
  if (!places.backup) return true;
  const std::string& backup = *places.backup;
  if (isOrHoldsAny(folders, backup))
    return refuse("Backup", backup, "lies in the database", places.base);
  std::vector<std::string> others{places.base, places.temp};
  others.insert(others.end(), std::begin(kOwn), std::end(kOwn));
  for (const std::string& other : others)
    if (isOrHolds(backup, other)) return refuse("Backup", backup, "holds", other);
  return true;
}

// The download directory may lie in a guarded place itself. A name then reaches nothing new
// there.
std::vector<std::string> guardedPlaces(const Places& places) {
  std::vector<std::string> guarded = foldersOf(places.base);
  guarded.insert(guarded.end(), std::begin(kOwn), std::end(kOwn));
  if (places.backup) guarded.push_back(*places.backup);
  const auto holdsDownloads = [&](const std::string& place) {
    return isOrHolds(place, places.download);
  };
  guarded.erase(std::remove_if(guarded.begin(), guarded.end(), holdsDownloads), guarded.end());
  return guarded;
}
