// One update of Kaspersky-format bases, in the order in which it happens.

#include <sys/stat.h>

#include "app/interrupt.h"
#include "engines/backup.h"
#include "engines/kav/changes.h"
#include "engines/kav/kav_updater.h"
#include "system/file_commands.h"

int QX_KAVUpdater::update() {
  if (!arePlacesApart(session.places, kKavFormat.prefix, session.log)) return kFailed;
  mkdir(session.places.temp.c_str(), 0755);
  return updateIT();
}

int QX_KAVUpdater::updateIT() {
  if (!arePlacesApart(session.places, kKavFormat.prefix, session.log)) return kFailed;
  if (!session.tell(ProgressUpdateStarted, nullptr)) return kCancelled;
  int done = 0;
  for (const std::string& server : session.servers)
    if (updatePerServer(server.c_str()) == kDone) ++done;
  if (!session.tell(ProgressUpdateDone, nullptr) || DownCancelled) return kCancelled;
  return done > 0 ? kDone : kFailed;
}

int QX_KAVUpdater::updatePerServer(const char* server) {
  if (!session.isOpen()) return kFailed;
  writeLog(session.log, "KLOG: Update started from server\n");
  Attempt attempt(session, server);
  std::vector<std::string> dropped;
  int result = attempt.begin(transfer(kKavFormat.index, server));
  if (result == kDone) result = findChanges(attempt, dropped);
  if (result != kDone) return result;
  if (attempt.wanted.empty()) return attempt.endUpToDate();

  result = attempt.beginInstallation(downloadFiles(attempt));
  if (result == kDone) install(attempt, dropped);
  attempt.removeDownloads();  // also those of a set that was not completed

  writeLog(session.log, "KLOG: Update done from server\n");
  if (result != kCancelled && session.tell(ProgressInstallDone, server) &&
      !session.tell(ProgressDownloadDone, server))
    return kCancelled;
  return kDone;
}

// Fills the attempt's change set, and `dropped` with the names that the new index no longer
// lists.
int QX_KAVUpdater::findChanges(Attempt& attempt, std::vector<std::string>& dropped) {
  const char* const downloaded = attempt.downloadedIndex.c_str();
  int comparison = matchAvpKlb(downloaded);
  // A read may fail for a moment, and then files would not be dropped: it is asked twice.
  if (comparison > IndexChanged) comparison = matchAvpKlb(downloaded);
  if (comparison < 0) return kFailed;
  // Only a changed index is compared entry by entry. Otherwise the signature line of each
  // file is compared with the index.
  const char* const installed =
      comparison == IndexChanged ? attempt.installedIndex.c_str() : nullptr;

  int result = findWantedByKlb(session, downloaded, installed, attempt.wanted);
  if (result == kDone && !DownCancelled && installed != nullptr && !attempt.wanted.empty()) {
    result = findDropped(session, downloaded, installed, dropped);
    if (result < 0) writeLog(session.log, "KLOG: Error getting delete list\n");
  }
  return result == kDone && DownCancelled ? kCancelled : result;
}

// Returns kDone when all files are there, kCancelled, or kFailed.
int QX_KAVUpdater::downloadFiles(const Attempt& attempt) {
  const int result = fetchAll(session, attempt.wanted, [&](const Wanted& file) {
    return transfer(file.name.c_str(), attempt.server);
  });
  if (result >= 0) return result;
  return session.tell(ProgressError, attempt.server) ? kFailed : kCancelled;
}

// Without a journal nothing is changed, and each copy counts as failed.
void QX_KAVUpdater::install(const Attempt& attempt, const std::vector<std::string>& dropped) const {
  const auto logOutcome = [this](int status) {
    writeLog(session.log, status == 0 ? "ok!\n" : "error!\n");
  };
  Installation installation(session, attempt.wanted);
  if (installation.isOpen()) {
    for (const std::string& name : dropped)
      if (!removeFile(session.places.installed(name)))
        writeLog(session.log, "KLOG: Error removing %s\n", name.c_str());
    backUp(installation);
  }
  for (const Wanted& file : attempt.wanted) {
    const std::string downloaded = session.places.downloaded(file.name);
    const std::string installed = session.places.installed(file.name);
    writeLog(session.log, "KLOG: Installing %s ", file.name.c_str());
    logOutcome(installation.isOpen() ? copyFile(downloaded, installed) : kFailed);
    removeFile(downloaded);
  }
  writeLog(session.log, "KLOG: Updating AV Index ");
  const int status = installation.installIndex();
  logOutcome(status);
  // The copy ran and did not arrive.
  if (status == 0 && !installation.isComplete())
    writeLog(session.log, "KLOG: Error installing %s\n", kKavFormat.index);
}

void QX_KAVUpdater::backUp(Installation& installation) const {
  if (!session.places.backup) return;
  writeLog(session.log, "KLOG: Getting backup of current av database at %s\n",
           session.places.backup->c_str());
  removeTree(*backupPlace(session.places));
  takeBackup(session);
  installation.protect();
}
