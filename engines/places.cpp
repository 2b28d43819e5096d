#include "engines/places.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "engines/index_name.h"
#include "system/files.h"
#include "update/paths.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kOwn[] = {kConfigDirectory, kLockDirectory, kLogDirectory};

// A directory, by its path and by its place on the file system that is mounted there. The
// second one tells that two mounts show the same directory.
struct Location {
  fs::path path;
  std::string device;  // empty when it is not known
  fs::path onDevice;
};

bool isOrLiesIn(const fs::path& path, const fs::path& directory) {
  return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first ==
         directory.end();
}

// A path of /proc/self/mountinfo, where blanks and the like are written as "\040".
fs::path unescaped(const std::string& text) {
  std::string path;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\\' && at + 3 < text.size()) {
      path += static_cast<char>(std::strtol(text.substr(at + 1, 3).c_str(), nullptr, 8));
      at += 3;
    } else {
      path += text[at];
    }
  }
  return path;
}

fs::path resolved(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path real = error ? absolute : fs::weakly_canonical(absolute, error);
  const fs::path normal = (error ? fs::path(path) : real).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();  // no final slash
}

Location locate(const std::string& directory) {
  Location location{resolved(directory), "", ""};
  std::ifstream mounts("/proc/self/mountinfo");
  fs::path longest;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    fields >> id >> parent >> device >> root >> point;
    const fs::path mountPoint = unescaped(point);
    // Of several mounts at one place the last one is seen.
    if (!isOrLiesIn(location.path, mountPoint) || !isOrLiesIn(mountPoint, longest)) continue;
    longest = mountPoint;
    location.device = device;
    const fs::path below = location.path.lexically_relative(mountPoint);
    location.onDevice = below == "." ? unescaped(root) : unescaped(root) / below;
  }
  return location;
}

// Also when the directory has other names: by a mount, or where case does not count.
bool isOrHolds(const Location& directory, const Location& place) {
  if (!place.device.empty() && place.device == directory.device &&
      isOrLiesIn(place.onDevice, directory.onDevice))
    return true;
  std::error_code error;
  for (fs::path above = place.path;; above = above.parent_path()) {
    if (above == directory.path || fs::equivalent(above, directory.path, error)) return true;
    if (!above.has_relative_path()) return false;
  }
}

bool isOrHolds(const std::string& directory, const std::string& place) {
  return isOrHolds(locate(directory), locate(place));
}

}  // namespace

bool arePlacesApart(const Places& places, const char* prefix, QX_AVUpdateLog* log) {
  if (places.base.empty()) return true;
  const auto refuse = [&](const char* what, const std::string& path, const char* how,
                          const std::string& other) {
    writeLog(log, "%s%s directory %s is or %s %s\n", prefix, what, path.c_str(), how,
             other.c_str());
    return false;
  };
  if (isOrHolds(places.base, places.temp))
    return refuse("Temp", places.temp, "lies in the database", places.base);
  if (!places.backup) return true;
  const std::string& backup = *places.backup;
  if (isOrHolds(places.base, backup))
    return refuse("Backup", backup, "lies in the database", places.base);
  std::vector<std::string> others{places.base, places.temp};
  others.insert(others.end(), std::begin(kOwn), std::end(kOwn));
  for (const std::string& other : others)
    if (isOrHolds(backup, other)) return refuse("Backup", backup, "holds", other);
  return true;
}

// A download directory that lies in such a place itself reaches nothing new by a name.
FetchTargets::FetchTargets(const Places& places) : download_(places.download) {
  std::vector<std::string> all(std::begin(kOwn), std::end(kOwn));
  all.push_back(places.base);
  if (places.backup) all.push_back(*places.backup);
  for (const std::string& place : all)
    if (!place.empty() && !isOrHolds(place, download_)) guarded_.push_back(place);
}

// Only a name with a folder in it can leave the directory that it is fetched into. wget
// makes no folders, so nothing is reached behind one that does not exist.
bool FetchTargets::reachPlaces(const std::string& name) {
  const std::string plain = normalisedName(name);
  for (std::size_t slash = plain.find('/'); slash != std::string::npos;
       slash = plain.find('/', slash + 1)) {
    const std::string folder = plain.substr(0, slash);
    if (known_.count(folder) != 0) continue;
    const std::string path = download_ + "/" + folder;
    if (!fileExists(path)) return false;
    const auto holds = [&path](const std::string& place) { return isOrHolds(place, path); };
    if (std::any_of(guarded_.begin(), guarded_.end(), holds)) return true;
    known_.insert(folder);
  }
  return false;
}
