// Working directories of an update of BitDefender-format bases, and the copy
// that undoes a failed installation.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "engines/backup.h"
#include "engines/bd/bd_updater.h"
#include "engines/command.h"
#include "engines/files.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr int kLastNumber = 64;
constexpr mode_t kDirMode = 0775;

// The first of NAME, NAME1 ... NAME64 in the directory that does not exist yet.
std::optional<std::string> freeName(const std::string& directory, const char* name) {
  const std::string path = directory + "/" + name;
  if (!fileExists(path)) return path;
  for (int n = 1; n <= kLastNumber; ++n)
    if (!fileExists(path + std::to_string(n))) return path + std::to_string(n);
  return std::nullopt;
}

// Makes a directory; a failure is logged with the given words.
bool makeDir(QX_AVUpdateLog* log, const char* what, const std::string& path) {
  if (mkdir(path.c_str(), kDirMode) == 0) return true;
  writeLog(log, "LOG: Error creating %s %s (%s)\n", what, path.c_str(), std::strerror(errno));
  return false;
}

}  // namespace

int QX_BDUpdater::MakeDirs() {
  if (basePath == nullptr || tempPath == nullptr) return kFailed;
  const std::string base = basePath.get();
  if (!fileExists(base)) {
    if (!makeDir(log, "basedir", base)) return kFailed;
    if (!makeDir(log, "plugindir", base + "/Plugins")) {
      rmdir(base.c_str());  // or later runs would take it for complete
      return kFailed;
    }
    baseCreated = true;
  }

  const std::string temp = tempPath.get();
  const std::optional<std::string> work = freeName(temp, "avdowndir");
  if (!work) {
    writeLog(log, "LOG: To many temp download dir at %s. Delete unused and retry again\n",
             temp.c_str());
    return kFailed;
  }
  if (!makeDir(log, "temp download dir", *work)) return kFailed;
  tempPath = copyString(work->c_str());

  if (backupPath == nullptr) {
    backupConfigured = false;
    // Beside the working directory: the copy that can restore the database
    // outlives an accident to the downloads.
    const std::optional<std::string> backup = freeName(temp, "avbackdir");
    if (!backup) {
      writeLog(log, "LOG: To many back dir at %s. Delete unused and retry again\n", work->c_str());
      rmdir(work->c_str());
      return kFailed;
    }
    backupPath = copyString(backup->c_str());
  }
  if (!makeDir(log, "dir", *work + "/Plugins")) {
    rmdir(work->c_str());
    return kFailed;
  }
  return kDone;
}

int QX_BDUpdater::RemoveDirs() {
  // The scanner's own cache; it does not belong into a backup.
  if (backupPath != nullptr)
    std::remove((std::string(backupPath.get()) + "/Plugins/cache.000").c_str());
  if (!backupConfigured && !keepBackup) DeleteCurrentBackup();
  if (wgetErrorFile != nullptr) unlink(wgetErrorFile.get());
  if (tempPath == nullptr) return kDone;
  return runInstallation("rm -rf " + shellWord(tempPath.get()));
}

int QX_BDUpdater::GetCurrentAVBackup() {
  std::optional<Backup> backup = currentBackup();
  return backup ? takeBackup(*backup) : kFailed;
}

int QX_BDUpdater::RevertCurrentBackup() {
  const std::optional<Backup> backup = currentBackup();
  return backup ? backup->copyBack() : kFailed;
}

int QX_BDUpdater::DeleteCurrentBackup() {
  std::optional<Backup> backup = currentBackup();
  return backup && backup->exists() ? backup->drop() : kDone;
}

std::optional<Backup> QX_BDUpdater::currentBackup() const {
  if (basePath == nullptr || backupPath == nullptr) return std::nullopt;
  return Backup(basePath.get(), backupPath.get(), "versions.dat");
}

int QX_BDUpdater::takeBackup(Backup& backup) {
  if (backup.exists() && backup.drop() < 0) return kFailed;
  return backup.take();
}
