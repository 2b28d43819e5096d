// One update of BitDefender-format bases, in the order in which it happens.

#include <ctime>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/changes.h"
#include "system/command.h"
#include "system/file_commands.h"
#include "system/shell_word.h"

constexpr int kNoDirectories = -4;

int QX_BDUpdater::updateNow() {
  if (!session.isOpen()) {
    session.reportError("Invalid uninitized update call");
    return kFailed;
  }
  if (!arePlacesApart(session.places, kBdFormat.prefix, session.log)) return kFailed;
  if (MakeDirs() < 0) {
    session.reportError("Error creating dirs");
    return kNoDirectories;
  }
  const int result =
      session.tryServers([this](const char* server) { return UpdatePerServer(server); });
  RemoveDirs();
  return DownCancelled ? kCancelled : result;
}

int QX_BDUpdater::UpdatePerServer(const char* server) {
  if (!session.isOpen()) return kFailed;
  const std::time_t now = std::time(nullptr);
  writeLog(session.log, "LOG: Update started from server %s\n", std::ctime(&now));
  Attempt attempt(session, server);
  int result = attempt.begin(transfer(server, kBdFormat.index, true));
  if (result == kDone) result = findChanges(attempt);
  if (result != kDone) return result;
  if (attempt.wanted.empty()) return attempt.endUpToDate();

  result = attempt.beginInstallation(attempt.downloadFiles([&](const Wanted& file) {
    return transfer(server + std::string("/avx"), file.name.c_str(), false);
  }));
  if (result == kDone && backUp()) install(attempt);

  RemoveDirs();
  return result == kCancelled ? kCancelled : kDone;
}

// An installed index that lists nothing counts as none. Compared with it, no file that is
// there would ever be fetched again.
int QX_BDUpdater::findChanges(Attempt& attempt) {
  const std::string& installed = attempt.installedIndex;
  const bool listsNothing = readVersions(installed).value_or(std::vector<Wanted>(1)).empty();
  const bool hasIndex = fileExists(installed) && !listsNothing;
  return findWantedByVersions(session, attempt.downloadedIndex.c_str(),
                              hasIndex ? installed.c_str() : nullptr, attempt.wanted);
}

// Returns whether the installation may go on. A database that this run has made needs no
// backup.
bool QX_BDUpdater::backUp() {
  if (baseCreated) return true;
  writeLog(session.log, "LOG: Getting backup of current av database at %s\n",
           session.places.backup.value_or(session.places.ownBackup.value_or("")).c_str());
  if (GetCurrentAVBackup() >= 0) return true;
  session.reportError(std::string("Error installing AV Database!") +
                      (session.places.backup ? " Can not get AV Backup." : ""));
  return false;
}

// Without a journal nothing is changed, and the index counts as not installed.
void QX_BDUpdater::install(const Attempt& attempt) {
  Installation installation(session, attempt.wanted);
  if (!baseCreated) installation.protect();
  const auto installOne = [this](const Wanted& file) { return installFile(file); };
  if (!attempt.install(installation, installOne) && installation.isOpen()) undo(installation);
}

// Returns whether the file is installed. The digest shows whether copy and decompression
// worked. A wrong file that is new is removed at once.
bool QX_BDUpdater::installFile(const Wanted& file) const {
  const std::string staged = session.places.installed(file.name);
  const std::string installed = staged.substr(0, staged.rfind(kBdFormat.suffix));
  const bool stagedIsNew = !fileExists(staged);
  const bool isNew = !fileExists(installed);
  const int copied = copyFile(session.places.downloaded(file.name), staged);
  const int decompressed = runInstallation("gunzip -S .gzip -f " + shellWord(staged) + kQuietly);
  const bool isListed = md5Of(installed) == file.proof;
  if (stagedIsNew) removeFile(staged);
  if (isNew && !isListed) removeFile(installed);

  if (copied < 0 || decompressed < 0) return session.failed("", "Error installing " + file.name);
  if (!isListed) return session.failed("LOG: ", "md5sum mismatch for " + installed);
  writeLog(session.log, "Installed %s\n", file.name.c_str());
  removeFile(session.places.downloaded(file.name));
  return true;
}

// A backup that lacks a file, or has a part of it, is not copied back: it would replace good
// files. This run may have taken no backup; one from an earlier run is then restored.
void QX_BDUpdater::undo(Installation& installation) {
  if (installation.isProtected()) {
    if (!installation.rollBack())
      writeLog(session.log, "LOG: Error restoring the database from %s\n",
               backupPlace(session.places)->c_str());
    return;
  }
  (void)installation.putIndexBack();
  // The next recovery would remove the files that come back now. Nothing is lost without
  // it: the next run compares the digest of each file with the index.
  const bool hasBackup = fileExists(*backupPlace(session.places));
  if (baseCreated && hasBackup) (void)installation.close();
  if (baseCreated || !hasBackup) RevertCurrentBackup();
}
