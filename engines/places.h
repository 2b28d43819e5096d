// Which of an update's directories may not lie in each other.
#pragma once

#include <string>

#include "update/update_log.h"

// An update removes its backup and copies into and out of its temp directory: what
// lies there must be nobody else's. False, after a line in the log (may be null) that
// begins with `prefix`, when the temp directory is or lies in the database, or when
// the backup is, holds or lies in the database, or is or holds the temp directory,
// the configuration, the lock's or the log's directory. Symbolic links are followed,
// and directories need not exist yet. An empty backup path is no directory.
[[nodiscard]] bool arePlacesApart(const std::string& base, const std::string& temp,
                                  const std::string& backup, const char* prefix,
                                  QX_AVUpdateLog* log);

// Whether a path lies in the database, its backup (may be empty) or a directory of the
// program: a temp directory may hold them, and a listed name must not reach them by it.
[[nodiscard]] bool reachesPlaces(const std::string& path, const std::string& base,
                                 const std::string& backup);
