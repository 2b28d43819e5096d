// The directories of an update.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "update/update_log.h"

struct Places {
  std::string base;      // the installed database; empty before an updater is configured
  std::string temp;      // the configured temp directory
  std::string download;  // where files are fetched: at first `temp`
  // The configured backup. Without one an engine takes no backup, or chooses a place.
  std::optional<std::string> backup;

  std::string installed(const std::string& name) const { return base + "/" + name; }
  std::string downloaded(const std::string& name) const { return download + "/" + name; }
};

// An update removes its backup, and it copies into and out of its temp directory: what
// lies there must be nobody else's. Returns false, after a line in the log that begins
// with `prefix`, when the temp directory is or lies in the database, or when the backup
// is, holds or lies in the database, or is or holds the temp directory, the
// configuration, the lock's or the log's directory. Links and mounts are followed.
// Directories need not exist yet. Places without a base are apart.
[[nodiscard]] bool arePlacesApart(const Places& places, const char* prefix, QX_AVUpdateLog* log);

// Judges where the names of one index would be fetched to. Looks up the directories once,
// and each folder of the names once.
class FetchTargets {
 public:
  explicit FetchTargets(const Places& places);

  // Whether a listed name, fetched into the download directory, would land in the
  // database, in its backup or in a directory of the program. The download directory may
  // hold those. The name is safe (see index_name.h).
  [[nodiscard]] bool reachPlaces(const std::string& name);

 private:
  const std::string download_;
  std::vector<std::string> guarded_;  // the directories that must not be reached
  std::set<std::string> known_;       // folders below download_ that reach none of them
};
