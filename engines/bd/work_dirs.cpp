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

// The first of NAME, NAME1 ... NAME64 in the directory that does not exist yet
// and is not `taken`.
std::optional<std::string> freeName(const std::string& directory, const char* name,
                                    const std::string& taken = "") {
  for (int n = 0; n <= kLastNumber; ++n) {
    const std::string path = directory + "/" + name + (n > 0 ? std::to_string(n) : "");
    if (!fileExists(path) && path != taken) return path;
  }
  return std::nullopt;
}

// False, after a line in the log with the system's reason.
bool cannotMake(QX_AVUpdateLog* log, const char* what, const std::string& path) {
  writeLog(log, "LOG: Error creating %s %s (%s)\n", what, path.c_str(), std::strerror(errno));
  return false;
}

bool makeDir(const std::string& path) {
  return mkdir(path.c_str(), kDirMode) == 0;
}

// Makes the base directory with its Plugins under another name first: a run that finds
// one without Plugins would take it for complete.
bool makeBase(const std::string& path, QX_AVUpdateLog* log) {
  const std::string base = path.substr(0, path.find_last_not_of('/') + 1);
  const std::size_t name = base.rfind('/') + 1;
  const std::string made = base.substr(0, name) + "." + base.substr(name) + ".new";
  if (!makeDir(made) && errno != EEXIST) return cannotMake(log, "basedir", path);
  if (!makeDir(made + "/Plugins") && errno != EEXIST) {
    rmdir(made.c_str());
    return cannotMake(log, "plugindir", path + "/Plugins");
  }
  return std::rename(made.c_str(), base.c_str()) == 0 || cannotMake(log, "basedir", path);
}

}  // namespace

int QX_BDUpdater::MakeDirs() {
  if (basePath == nullptr || tempPath == nullptr) return kFailed;
  if (!fileExists(basePath.get())) {
    if (!makeBase(basePath.get(), log)) return kFailed;
    baseCreated = true;
  }

  const std::string temp = tempPath.get();
  const std::optional<std::string> work = freeName(temp, "avdowndir", textOf(backupPath));
  if (!work) {
    writeLog(log, "LOG: To many temp download dir at %s. Delete unused and retry again\n",
             temp.c_str());
    return kFailed;
  }
  if (!makeDir(*work)) {
    cannotMake(log, "temp download dir", *work);
    return kFailed;
  }
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
  if (!makeDir(*work + "/Plugins")) {
    cannotMake(log, "dir", *work + "/Plugins");
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
