// One update of BitDefender-format bases, in the order in which it happens.

#include <unistd.h>

#include <ctime>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/command.h"
#include "engines/file_commands.h"
#include "engines/files.h"
#include "engines/index_file.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr int kNoDirectories = -4;

// What gunzip makes of a change set's name or path.
std::string decompressedName(const std::string& compressed) {
  return compressed.substr(0, compressed.rfind(".gzip"));
}

// An index that lists nothing was left by a full disk or a kill. It counts as
// none: compared with it, no file that is there would ever be fetched again.
bool listsAnything(const std::string& index) {
  std::vector<__QX_AvEntry> entries;
  return QX_BDUpdater::GetDownloadList(index.c_str(), entries) != 0;
}

}  // namespace

// What one attempt at one server knows.
struct QX_BDUpdater::Attempt {
  const char* server;
  std::string downloadedIndex;
  std::string installedIndex;
  std::vector<__QX_AvEntry> changes = {};
  bool ok = false;  // every step so far has succeeded
  bool backupIsWhole = false;
  bool cancelled = false;
};

int QX_BDUpdater::send(ProgressEvent event, const char* text) const {
  return sendProgress(callback, callbackData, event, text);
}

void QX_BDUpdater::reportError(const std::string& text) const {
  send(ProgressError, text.c_str());
}

int QX_BDUpdater::updateNow() {
  if (basePath == nullptr) {
    reportError("Invalid uninitized update call");
    return kFailed;
  }
  if (MakeDirs() < 0) {
    reportError("Error creating dirs");
    return kNoDirectories;
  }
  if (send(ProgressUpdateStarted, nullptr) == ProgressCancel) {
    RemoveDirs();
    return kCancelled;
  }

  int result = kFailed;
  try {
    result = tryServers();
  } catch (...) {
    RemoveDirs();
    throw;
  }
  RemoveDirs();
  if (DownCancelled) return kCancelled;
  return result == kDone ? kDone : kFailed;
}

// The result of the last attempt.
int QX_BDUpdater::tryServers() {
  putIndexBack(installedPath("versions.dat"));
  int result = kFailed;
  for (std::int32_t i = 0; i < serverCount && result == kFailed; ++i)
    if (*servers[i].get() != '\0') result = UpdatePerServer(servers[i].get());
  if (!DownCancelled && result == kDone) send(ProgressUpdateDone, nullptr);
  return result;
}

int QX_BDUpdater::UpdatePerServer(const char* server) {
  Attempt attempt{server, downloadedPath("versions.dat"), installedPath("versions.dat")};
  const std::time_t now = std::time(nullptr);
  writeLog(log, "LOG: Update started from server %s\n", std::ctime(&now));
  if (send(ProgressDownloadStarted, server) == ProgressCancel) return kCancelled;

  int result = fetchIndex(attempt);
  if (result != kDone) return result;
  result = findChanges(attempt);
  if (result != kDone) return result;
  if (attempt.changes.empty()) {
    if (send(ProgressAlreadyUpdated, server) == ProgressCancel) return kCancelled;
    writeLog(log, "LOG: No update found. Virus database is up to date\n");
    return kDone;
  }

  downloadFiles(attempt);
  if (send(ProgressInstallStarted, server) == ProgressCancel) {
    attempt.ok = false;
    attempt.cancelled = true;
  }
  if (attempt.ok) writeLog(log, "LOG: Update Installation started\n");
  if (attempt.ok) backUp(attempt);
  if (attempt.ok) installFiles(attempt);
  if (attempt.ok) installIndex(attempt);

  RemoveDirs();
  totalBytes = 0;
  doneBytes = 0;
  return attempt.cancelled ? kCancelled : kDone;
}

int QX_BDUpdater::fetchIndex(const Attempt& attempt) {
  int result = DownloadFile(attempt.server, "versions.dat", 0, false);
  // A cut file is found out by its digest; a cut index would be installed, and
  // what it does not list would not be updated any more.
  if (result == kDone && !wgetSucceeded) result = DownloadError("versions.dat");
  if (result == kCancelled) unlink(attempt.downloadedIndex.c_str());
  if (result >= 0) return result;
  writeLog(log, "LOG: Error downloading versions.dat\n");
  return kFailed;
}

int QX_BDUpdater::findChanges(Attempt& attempt) {
  const std::string& index = attempt.installedIndex;
  const bool hasIndex = fileExists(index) && listsAnything(index);
  totalBytes = 0;
  const int result =
      AddToDownload(attempt.downloadedIndex.c_str(), hasIndex ? index.c_str() : nullptr,
                    attempt.changes, &totalBytes);
  if (result < 0) return kFailed;
  return DownCancelled ? kCancelled : kDone;
}

void QX_BDUpdater::downloadFiles(Attempt& attempt) {
  doneBytes = 0;
  attempt.ok = true;
  const std::string directory = std::string(attempt.server) + "/avx";
  for (const __QX_AvEntry& entry : attempt.changes) {
    const std::string& name = entry.fileName;
    writeLog(log, "LOG: Downloading file %s", name.c_str());
    const int result =
        DownloadFile(directory.c_str(), name.c_str(), static_cast<unsigned int>(entry.size), true);
    if (result == kDone) {
      writeLog(log, " done!\n");
      continue;
    }
    attempt.ok = false;
    if (result == kCancelled) {
      writeLog(log, " cancelled!\n");
      attempt.cancelled = true;
    } else {
      writeLog(log, " error!\n");
      reportError("Error downloading " + name);
    }
    return;
  }
}

void QX_BDUpdater::backUp(Attempt& attempt) {
  if (baseCreated) return;
  writeLog(log, "LOG: Getting backup of current av database at %s\n", backupPath.get());
  const int status = GetCurrentAVBackup();
  attempt.backupIsWhole = status == 0;
  if (status >= 0) return;
  attempt.ok = false;
  reportError(std::string("Error installing AV Database!") +
              (backupConfigured ? " Can not get AV Backup." : ""));
}

void QX_BDUpdater::installFiles(Attempt& attempt) {
  for (const __QX_AvEntry& entry : attempt.changes) {
    const std::string& name = entry.fileName;
    const std::string staged = installedPath(name);
    const std::string installed = decompressedName(staged);
    if (copyFile(downloadedPath(name), staged) < 0 ||
        runInstallation("gunzip -S .gzip -f " + shellWord(staged) + kQuietly) < 0) {
      writeLog(log, "Error installing %s\n", name.c_str());
      return undoInstallation(attempt, "Error installing " + name);
    }
    // A copy or decompression that failed shows here.
    char digest[QX_UTILS::kDigestBytes] = {};
    if (QX_UTILS::md5sum(installed.c_str(), digest) != kDone || entry.md5 != digest) {
      writeLog(log, "LOG: md5sum mismatch for %s\n", installed.c_str());
      // If it is new, nothing would ever replace it.
      if (attempt.backupIsWhole || baseCreated) unlink(installed.c_str());
      return undoInstallation(attempt, "md5sum mismatch for " + installed);
    }
    writeLog(log, "Installed %s\n", name.c_str());
    unlink(downloadedPath(name).c_str());
  }
}

void QX_BDUpdater::installIndex(Attempt& attempt) {
  // Also after a copy that ran and failed: new files under the old index are a
  // database that no index describes.
  if (installIndexFile(attempt.downloadedIndex, attempt.installedIndex) != 0) {
    writeLog(log, "Error installing %s\n", "versions.dat");
    return undoInstallation(attempt, "Error installing versions.dat");
  }
  send(ProgressInstallDone, attempt.server);
  writeLog(log, "LOG: Update done from server\n");
  send(ProgressDownloadDone, attempt.server);
}

void QX_BDUpdater::undoInstallation(Attempt& attempt, const std::string& message) {
  attempt.ok = false;
  reportError(message);
  if (restoreBackup(attempt)) return;
  writeLog(log, "LOG: Error restoring the database from %s\n", backupPath.get());
  keepBackup = attempt.backupIsWhole;
}

// An incomplete backup is not copied back: its cut files would replace whole
// ones. The old index stays as it is, so that the next run mends by it.
bool QX_BDUpdater::restoreBackup(const Attempt& attempt) {
  if (!attempt.backupIsWhole && !baseCreated) return false;
  setIndexAside(attempt.installedIndex);
  bool restored = RevertCurrentBackup() == 0 || baseCreated || isEmptyDirectory(backupPath.get());
  if (!restored) {
    // On a full disk what came in takes the place of what shall come back.
    for (const __QX_AvEntry& entry : attempt.changes) {
      const std::string plain = decompressedName(entry.fileName);
      unlink(installedPath(entry.fileName).c_str());
      if (!fileExists(std::string(backupPath.get()) + "/" + plain))
        unlink(installedPath(plain).c_str());
    }
    restored = RevertCurrentBackup() == 0;
  }
  putIndexBack(attempt.installedIndex);
  return restored;
}

std::string QX_BDUpdater::downloadedPath(const std::string& name) const {
  return std::string(tempPath.get()) + "/" + name;
}

std::string QX_BDUpdater::installedPath(const std::string& name) const {
  return std::string(basePath.get()) + "/" + name;
}
