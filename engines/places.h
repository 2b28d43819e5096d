// The directories of an update.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "update/update_log.h"

struct Places {
  std::string base;      // the installed database; empty before an updater is configured
  std::string temp;      // the configured temp directory
  std::string download;  // where files are fetched: at first `temp`
  // The configured backup. Without one an engine takes no backup, or chooses a place.
  std::optional<std::string> backup;
  std::optional<std::string> ownBackup = std::nullopt;  // that place; it goes with the run

  std::string installed(const std::string& name) const { return base + "/" + name; }
  std::string downloaded(const std::string& name) const { return download + "/" + name; }
};

// Whether the directories of an update are apart from each other. A run asks this first:
// an update removes its backup, and it copies into and out of its temp directory. Returns
// false, after a line in the log that begins with `prefix`, when
// - the temp directory is or lies in the database;
// - the backup is, holds or lies in the database;
// - the backup is or holds the temp directory, or the directory of the configuration, the
//   lock or the log.
// Links and mounts are followed. A directory need not exist. Places without a base are
// apart.
[[nodiscard]] bool arePlacesApart(const Places& places, const char* prefix, QX_AVUpdateLog* log);

// The directories that a name of an index must not reach when it is fetched: the database
// with its folders, the configured backup and the program's own.
std::vector<std::string> guardedPlaces(const Places& places);

// Whether one of the directories is a path or holds it, also where a link or a mount
// stands between them.
bool isOrHoldsAny(const std::vector<std::string>& directories, const std::string& path);
