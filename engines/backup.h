// A copy of the database from before an installation. It can undo the installation. It stays
// until somebody removes its directory.
#pragma once

#include "engines/session.h"

// The place of the backup, configured or chosen by the engine: the path of its directory
// without slashes at the end. A slash would lead through a link, and the copy would become a
// folder in there.
std::optional<std::string> backupPlace(const Places& places);

// Copies the database to the place of the backup, without a journal and in place of an older
// copy, which is gone when this one fails. Returns cp's status as system() does; negative also when
// there is no place, or when the removal of the older copy could not be run.
int takeBackup(const Session& session);

// Copies the visible entries of the backup over the database. Returns cp's status; -1 when
// there is no place.
int restoreBackup(const Session& session);

// Returns the status of the removal, 0 when there is nothing to remove.
int removeBackup(const Session& session);
