#include "engines/backup_place.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

fs::path resolved(const char* path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path real = error ? absolute : fs::weakly_canonical(absolute, error);
  const fs::path normal = (error ? fs::path(path) : real).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();  // no final slash
}

bool isOrHolds(const fs::path& directory, const fs::path& path) {
  return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first ==
         directory.end();
}

}  // namespace

bool isBackupPlace(const char* backupPath, const char* basePath, const char* tempPath,
                   QX_AVUpdateLog* log) {
  if (backupPath == nullptr) return true;
  const fs::path backup = resolved(backupPath);
  if (!isOrHolds(backup, resolved(basePath)) && !isOrHolds(backup, resolved(tempPath))) return true;
  writeLog(log, "Backup directory %s holds the database or the temp directory\n", backupPath);
  return false;
}
