// Whether a backup directory may lie where it was configured.
#pragma once

#include "update/update_log.h"

// A backup begins with the removal of what lies in its place. False, after a
// line in the log (may be null), when that would be the database or the temp
// directory: the backup directory is one of them or holds it. True for a null
// backup directory. Symbolic links are followed.
bool isBackupPlace(const char* backupPath, const char* basePath, const char* tempPath,
                   QX_AVUpdateLog* log);
