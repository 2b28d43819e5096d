// One update of Kaspersky-format bases, in the order in which it happens.

#include <sys/stat.h>
#include <unistd.h>

#include "app/interrupt.h"
#include "engines/backup.h"
#include "engines/file_commands.h"
#include "engines/index_set_aside.h"
#include "engines/kav/kav_updater.h"
#include "engines/places.h"
#include "engines/result.h"

// What one attempt at one server knows.
struct QX_KAVUpdater::Attempt {
  Attempt(const char* serverUrl, std::string downloaded, std::string installed)
      : server(serverUrl),
        downloadedIndex(std::move(downloaded)),
        installedIndex(std::move(installed)) {}

  void dropChanges() {
    names.clear();
    signatures.clear();
    sizes.clear();
    dropped.clear();
  }

  const char* const server;
  const std::string downloadedIndex;
  const std::string installedIndex;
  Unfinished predecessor = Unfinished::Nothing;

  // The files to download, in step.
  std::vector<std::string> names;
  std::vector<std::string> signatures;
  std::vector<std::int32_t> sizes;
  // The files that the new index no longer lists.
  std::vector<std::string> dropped;

  bool ok = false;         // every download is there, so installation goes on
  bool cancelled = false;  // no closing events
};

int QX_KAVUpdater::send(ProgressEvent event, const char* text) const {
  return sendProgress(callback, callbackData, event, text);
}

int QX_KAVUpdater::update() {
  if (!arePlacesApart()) return kFailed;
  if (tempPath != nullptr) mkdir(tempPath.get(), 0755);
  return tryServers();
}

int QX_KAVUpdater::updateIT() {
  return arePlacesApart() ? tryServers() : kFailed;
}

bool QX_KAVUpdater::arePlacesApart() const {
  return basePath == nullptr ||
         ::arePlacesApart(basePath.get(), tempPath.get(), textOf(backupPath), "KLOG: ", log);
}

int QX_KAVUpdater::tryServers() {
  if (send(ProgressUpdateStarted, nullptr) == ProgressCancel) return kCancelled;
  int done = 0;
  for (std::int32_t i = 0; i < serverCount; ++i) {
    const char* const server = servers[i].get();
    if (*server != '\0' && updatePerServer(server) == kDone) ++done;
  }
  if (send(ProgressUpdateDone, nullptr) == ProgressCancel) return kCancelled;
  if (DownCancelled) return kCancelled;
  return done > 0 ? kDone : kFailed;
}

int QX_KAVUpdater::updatePerServer(const char* server) {
  if (basePath == nullptr) return kFailed;
  Attempt attempt(server, downloadedPath("avp.klb"), installedPath("avp.klb"));
  writeLog(log, "KLOG: Update started from server\n");
  if (send(ProgressDownloadStarted, server) == ProgressCancel) return kCancelled;

  attempt.predecessor = putIndexBack(attempt.installedIndex);
  int result = fetchIndex(attempt);
  if (result != kDone) return result;
  result = findChanges(attempt);
  if (result != kDone) return result;
  if (attempt.names.empty()) {
    if (send(ProgressAlreadyUpdated, server) == ProgressCancel) return kCancelled;
    settleIndex(attempt.installedIndex, attempt.downloadedIndex, attempt.predecessor,
                listsAnything);
    writeLog(log, "KLOG: No update found. Virus database is up to date\n");
    return kDone;
  }

  downloadFiles(attempt);
  if (send(ProgressInstallStarted, server) == ProgressCancel) {
    attempt.ok = false;
    attempt.cancelled = true;
  }
  if (attempt.ok) {
    writeLog(log, "KLOG: Update Installation started\n");
    removeDropped(attempt);
    backUp();
    install(attempt);
  }
  removeDownloads(attempt);

  totalBytes = 0;
  doneBytes = 0;
  writeLog(log, "KLOG: Update done from server\n");
  if (!attempt.cancelled && send(ProgressInstallDone, server) != ProgressCancel &&
      send(ProgressDownloadDone, server) == ProgressCancel)
    return kCancelled;
  return kDone;
}

int QX_KAVUpdater::fetchIndex(Attempt& attempt) {
  const int result = DownloadFile("avp.klb", attempt.server, 0, 0);
  if (result == kCancelled) unlink(attempt.downloadedIndex.c_str());
  if (result < 0) writeLog(log, "KLOG: Error downloading avp.klb\n");
  return result;
}

// Fills the attempt's lists; without changes they stay empty.
int QX_KAVUpdater::findChanges(Attempt& attempt) {
  const int comparison = attempt.predecessor == Unfinished::NoIndex
                             ? IndexMissing
                             : matchAvpKlb(attempt.downloadedIndex.c_str());
  if (comparison < 0) return kFailed;
  // Only a changed index is compared entry by entry; otherwise every file is
  // checked against its own signature line.
  const char* const installed =
      comparison == IndexChanged ? attempt.installedIndex.c_str() : nullptr;

  totalBytes = 0;
  doneBytes = 0;
  const bool alsoDoubtful = attempt.predecessor != Unfinished::Nothing;
  const int wanted = findWanted(attempt.downloadedIndex.c_str(), installed, alsoDoubtful,
                                attempt.sizes, attempt.names, attempt.signatures, &totalBytes);
  if (wanted < 0) return kFailed;
  if (DownCancelled) return kCancelled;
  if (wanted == 0) return kDone;

  if (installed != nullptr &&
      addToDelete(attempt.downloadedIndex.c_str(), installed, attempt.dropped) < 0) {
    writeLog(log, "KLOG: Error getting delete list\n");
    return kFailed;
  }
  return DownCancelled ? kCancelled : kDone;
}

void QX_KAVUpdater::downloadFiles(Attempt& attempt) {
  attempt.ok = true;
  for (std::size_t i = 0; i < attempt.names.size() && attempt.ok && !DownCancelled; ++i) {
    const std::string& name = attempt.names[i];
    writeLog(log, "KLOG: Downloading file %s", name.c_str());
    const int result = DownloadFile(name.c_str(), attempt.server, attempt.sizes[i], 1);
    if (result == kCancelled) {
      writeLog(log, " cancelled!\n");
      attempt.cancelled = true;
      attempt.ok = false;
      return;
    }
    const bool genuine =
        result == kDone && hasSignature(downloadedPath(name), attempt.signatures[i]);
    if (genuine) {
      writeLog(log, " done!\n");
      continue;
    }
    writeLog(log, " error!\n");
    if (result == kDone)
      writeLog(log, "KLOG: Signature mismatch in downloaded file(%s)\n", name.c_str());
    removeDownloads(attempt);
    attempt.dropChanges();
    if (send(ProgressError, attempt.server) == ProgressCancel) attempt.cancelled = true;
    attempt.ok = false;
    return;
  }
}

void QX_KAVUpdater::removeDropped(const Attempt& attempt) const {
  for (const std::string& name : attempt.dropped) unlink(installedPath(name).c_str());
}

void QX_KAVUpdater::backUp() const {
  if (backupPath == nullptr) return;
  writeLog(log, "KLOG: Getting backup of current av database at %s\n", backupPath.get());
  Backup backup(basePath.get(), backupPath.get(), "avp.klb");
  backup.drop();
  backup.take();
}

// An index that cannot be set aside makes each copy a failed one.
void QX_KAVUpdater::install(const Attempt& attempt) const {
  IndexSetAside index(attempt.installedIndex);
  for (const std::string& name : attempt.names) {
    writeLog(log, "KLOG: Installing %s ", name.c_str());
    logOutcome(index.isSafe() ? copyFile(downloadedPath(name), installedPath(name)) : kFailed);
    unlink(downloadedPath(name).c_str());
  }
  writeLog(log, "KLOG: Updating AV Index ");
  logOutcome(index.replaceBy(attempt.downloadedIndex));
}

// Also those of a set that was not completed.
void QX_KAVUpdater::removeDownloads(const Attempt& attempt) const {
  for (const std::string& name : attempt.names) unlink(downloadedPath(name).c_str());
  unlink(attempt.downloadedIndex.c_str());
}

// Closes the log line of a copy.
void QX_KAVUpdater::logOutcome(int status) const {
  writeLog(log, status == 0 ? "ok!\n" : "error!\n");
}

bool QX_KAVUpdater::listsAnything(const std::string& index) {
  std::vector<std::string> entries;
  return GetDownloadList(index.c_str(), entries) > 0;
}

std::string QX_KAVUpdater::downloadedPath(const std::string& name) const {
  return textOf(tempPath) + ("/" + name);
}

std::string QX_KAVUpdater::installedPath(const std::string& name) const {
  return textOf(basePath) + ("/" + name);
}
