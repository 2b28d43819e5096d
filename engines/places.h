// Which of an update's directories may not lie in each other.
#pragma once

#include "engines/session.h"

// An update removes its backup and copies into and out of its temp directory: what lies
// there must be nobody else's. False, after a line in the log, when the temp directory
// is or lies in the database, or when the backup is, holds or lies in the database, or
// is or holds the temp directory, the configuration, the lock's or the log's directory.
// Links and mounts are followed, and directories need not exist yet. True for a session
// that is not open; an empty backup path is no directory.
[[nodiscard]] bool arePlacesApart(const Session& session);

// Whether a listed name, fetched into the temp directory, would land in the database,
// its backup or a directory of the program, which the temp directory may hold.
[[nodiscard]] bool reachesPlaces(const Session& session, const std::string& name);
