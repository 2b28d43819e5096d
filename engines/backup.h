// A copy of the database from before an installation. It can undo the installation. It stays
// until somebody removes its directory.
#pragma once

#include "engines/session.h"

// The place of a backup: the path of its directory without slashes at the end. A slash would
// lead through a link, and the copy would become a folder in there.
std::string backupPlace(const std::string& path);

// Copies the database to a place, without a journal. The caller has removed an older copy.
// Returns cp's status as system() does.
int takeBackup(const Session& session, const std::string& place);

// Copies the visible entries of a place over the database. Returns cp's status.
int restoreBackup(const Session& session, const std::string& place);
