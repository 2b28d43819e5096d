// One update of BitDefender-format bases, in the order in which it happens.

#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/command.h"
#include "engines/file_commands.h"
#include "engines/files.h"
#include "engines/index_set_aside.h"
#include "engines/places.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr int kNoDirectories = -4;
constexpr char kIndex[] = "versions.dat";
constexpr char kSuffix[] = ".gzip";

// What gunzip makes of a change set's name or path.
std::string decompressedName(const std::string& compressed) {
  return compressed.substr(0, compressed.rfind(kSuffix));
}

// An index that lists nothing was left by a full disk or a kill. It counts as
// none: compared with it, no file that is there would ever be fetched again.
bool listsAnything(const std::string& index) {
  std::vector<__QX_AvEntry> entries;
  return QX_BDUpdater::GetDownloadList(index.c_str(), entries) > 0;
}

}  // namespace

// What one attempt at one server knows.
struct QX_BDUpdater::Attempt {
  const char* server;
  std::string downloadedIndex;
  std::string installedIndex;
  std::vector<__QX_AvEntry> changes = {};
  Unfinished predecessor = Unfinished::Nothing;
  bool ok = false;                              // every step so far has succeeded
  std::optional<Backup> backup = std::nullopt;  // taken by this attempt
  bool backupIsWhole = false;
  bool hasAddedFiles = false;  // which no index lists yet
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
  if (!arePlacesApart(basePath.get(), tempPath.get(), textOf(backupPath), "LOG: ", log))
    return kFailed;
  keepBackup = false;
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
  int result = kFailed;
  for (std::int32_t i = 0; i < serverCount && result == kFailed; ++i)
    if (*servers[i].get() != '\0') result = UpdatePerServer(servers[i].get());
  if (!DownCancelled && result == kDone) send(ProgressUpdateDone, nullptr);
  return result;
}

int QX_BDUpdater::UpdatePerServer(const char* server) {
  if (basePath == nullptr) return kFailed;
  Attempt attempt{server, downloadedPath(kIndex), installedPath(kIndex)};
  const std::time_t now = std::time(nullptr);
  writeLog(log, "LOG: Update started from server %s\n", std::ctime(&now));
  if (send(ProgressDownloadStarted, server) == ProgressCancel) return kCancelled;

  attempt.predecessor = putIndexBack(attempt.installedIndex);
  int result = fetchIndex(attempt);
  if (result != kDone) return result;
  result = findChanges(attempt);
  if (result != kDone) return result;
  if (attempt.changes.empty()) {
    if (send(ProgressAlreadyUpdated, server) == ProgressCancel) return kCancelled;
    settleIndex(attempt.installedIndex, attempt.downloadedIndex, attempt.predecessor,
                listsAnything);
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
  if (attempt.ok) install(attempt);

  RemoveDirs();
  totalBytes = 0;
  doneBytes = 0;
  return attempt.cancelled ? kCancelled : kDone;
}

int QX_BDUpdater::fetchIndex(const Attempt& attempt) {
  int result = DownloadFile(attempt.server, kIndex, 0, false);
  // A cut file is found out by its digest; a cut index would be installed, and
  // what it does not list would not be updated any more.
  if (result == kDone && (!wgetSucceeded || !hasSavedSize(attempt.downloadedIndex)))
    result = DownloadError(kIndex);
  if (result == kCancelled) unlink(attempt.downloadedIndex.c_str());
  if (result >= 0) return result;
  writeLog(log, "LOG: Error downloading versions.dat\n");
  return kFailed;
}

int QX_BDUpdater::findChanges(Attempt& attempt) {
  const std::string& index = attempt.installedIndex;
  // One that cannot be read is an error of the comparison.
  const bool hasIndex = fileExists(index) && attempt.predecessor != Unfinished::NoIndex &&
                        (access(index.c_str(), R_OK) != 0 || listsAnything(index));
  if (attempt.predecessor != Unfinished::Nothing) removeStaged(attempt);
  totalBytes = 0;
  const int result =
      findWanted(attempt.downloadedIndex.c_str(), hasIndex ? index.c_str() : nullptr,
                 attempt.predecessor != Unfinished::Nothing, attempt.changes, &totalBytes);
  if (result < 0) return kFailed;
  return DownCancelled ? kCancelled : kDone;
}

// Removes what a run that did not finish had copied in and not yet decompressed: the
// backup would keep it. Where an index lists such a name it is a file of the database.
void QX_BDUpdater::removeStaged(const Attempt& attempt) const {
  std::vector<__QX_AvEntry> listed;
  std::vector<__QX_AvEntry> installed;
  GetDownloadList(attempt.downloadedIndex.c_str(), listed);
  GetDownloadList(attempt.installedIndex.c_str(), installed);
  const auto lists = [](const std::vector<__QX_AvEntry>& entries, const std::string& name) {
    return std::any_of(entries.begin(), entries.end(),
                       [&name](const __QX_AvEntry& entry) { return entry.fileName == name; });
  };
  for (const __QX_AvEntry& entry : listed) {
    const std::string staged = entry.fileName + kSuffix;
    if (isSafeName(entry.fileName, kIndex) && fileExists(installedPath(staged)) &&
        !lists(listed, staged) && !lists(installed, staged))
      unlink(installedPath(staged).c_str());
  }
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
  attempt.backup = currentBackup();
  const int status = attempt.backup ? takeBackup(*attempt.backup) : kFailed;
  attempt.backupIsWhole = status >= 0 && attempt.backup->isWhole();
  if (status >= 0) return;
  attempt.ok = false;
  reportError(std::string("Error installing AV Database!") +
              (backupConfigured ? " Can not get AV Backup." : ""));
}

void QX_BDUpdater::install(Attempt& attempt) {
  IndexSetAside index(attempt.installedIndex);
  const std::optional<std::string> failure = installAll(attempt, index);
  if (!failure) return;
  attempt.ok = false;
  reportError(*failure);
  if (index.isSafe()) undoInstallation(attempt, index);
}

// Each returns what failed, as the watcher is told it.
std::optional<std::string> QX_BDUpdater::installAll(Attempt& attempt, IndexSetAside& index) {
  for (const __QX_AvEntry& entry : attempt.changes)
    if (index.isSafe())
      if (std::optional<std::string> failure = installFile(attempt, entry)) return failure;

  // Also after a copy that ran and did not arrive: new files under the old index are a
  // database that no index describes.
  if (index.replaceBy(attempt.downloadedIndex) < 0 || !index.isReplaced()) {
    writeLog(log, "Error installing %s\n", kIndex);
    return "Error installing versions.dat";
  }
  send(ProgressInstallDone, attempt.server);
  writeLog(log, "LOG: Update done from server\n");
  send(ProgressDownloadDone, attempt.server);
  return std::nullopt;
}

// A copy or decompression that failed shows in the digest. What it has left is removed
// where nothing stood before: nothing else would ever replace it.
std::optional<std::string> QX_BDUpdater::installFile(Attempt& attempt, const __QX_AvEntry& entry) {
  const std::string& name = entry.fileName;
  const std::string staged = installedPath(name);
  const std::string installed = decompressedName(staged);
  const bool stagedIsNew = !fileExists(staged);
  const bool isNew = !fileExists(installed);
  const int copied = copyFile(downloadedPath(name), staged);
  const int decompressed = runInstallation("gunzip -S .gzip -f " + shellWord(staged) + kQuietly);
  char digest[QX_UTILS::kDigestBytes] = {};
  const bool isListed = QX_UTILS::md5sum(installed.c_str(), digest) == kDone && entry.md5 == digest;
  if (stagedIsNew) unlink(staged.c_str());
  if (isNew && !isListed) unlink(installed.c_str());

  if (copied < 0 || decompressed < 0) {
    writeLog(log, "Error installing %s\n", name.c_str());
    return "Error installing " + name;
  }
  if (!isListed) {
    writeLog(log, "LOG: md5sum mismatch for %s\n", installed.c_str());
    return "md5sum mismatch for " + installed;
  }
  if (isNew) attempt.hasAddedFiles = true;
  writeLog(log, "Installed %s\n", name.c_str());
  unlink(downloadedPath(name).c_str());
  return std::nullopt;
}

// An incomplete backup is not copied back: its cut files would replace whole ones.
// Where none was taken there may still be an older one. The index goes on waiting
// when this run or its predecessor has added files: the next one would not fetch them,
// and when nothing else is new it would never install the index that lists them.
void QX_BDUpdater::undoInstallation(const Attempt& attempt, IndexSetAside& index) {
  if (!attempt.backupIsWhole) {
    if (!attempt.backup || !attempt.backup->exists()) RevertCurrentBackup();
    return;
  }
  index.clearPlace();
  if (!attempt.backup->restore()) {
    writeLog(log, "LOG: Error restoring the database from %s\n", backupPath.get());
    keepBackup = true;
  } else if (!attempt.hasAddedFiles && attempt.predecessor == Unfinished::Nothing) {
    index.putBack();
  }
}

std::string QX_BDUpdater::downloadedPath(const std::string& name) const {
  return textOf(tempPath) + ("/" + name);
}

std::string QX_BDUpdater::installedPath(const std::string& name) const {
  return textOf(basePath) + ("/" + name);
}
