// One update of BitDefender-format bases, in the order in which it happens.

#include <unistd.h>

#include <ctime>
#include <set>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/changes.h"
#include "engines/bd/utils.h"
#include "engines/bd/versions_index.h"
#include "engines/places.h"
#include "system/command.h"
#include "system/shell_word.h"

namespace {

constexpr int kNoDirectories = -4;

// An index that lists nothing was left by a full disk or a kill. It counts as none:
// compared with it, no file that is there would ever be fetched again.
bool listsAnything(const std::string& index) {
  const auto entries = readVersions(index);
  return entries && !entries->empty();
}

// Removes what a run that did not finish had copied in and not yet decompressed: the
// backup would keep it. Where an index lists such a name it is a file of the database.
void removeStaged(const Attempt& attempt) {
  const auto listed = readVersions(attempt.downloadedIndex);
  const auto installed = readVersions(attempt.installedIndex);
  // An interrupt cuts the reading: what is not listed then may be.
  if (!listed || DownCancelled) return;
  std::set<std::string> names;
  for (const __QX_AvEntry& entry : *listed) names.insert(entry.fileName);
  if (installed)
    for (const __QX_AvEntry& entry : *installed) names.insert(entry.fileName);
  for (const __QX_AvEntry& entry : *listed) {
    const std::string staged = entry.fileName + kBdSuffix;
    const std::string path = attempt.session.installed(staged);
    if (fileExists(path) && names.count(staged) == 0) unlink(path.c_str());
  }
}

}  // namespace

int QX_BDUpdater::updateNow() {
  if (!session.isOpen()) {
    session.reportError("Invalid uninitized update call");
    return kFailed;
  }
  if (!arePlacesApart(session)) return kFailed;
  keepBackup = false;
  if (MakeDirs() < 0) {
    session.reportError("Error creating dirs");
    return kNoDirectories;
  }
  const int result = session.tell(ProgressUpdateStarted, nullptr) ? tryServers() : kCancelled;
  RemoveDirs();
  return DownCancelled ? kCancelled : result;
}

int QX_BDUpdater::tryServers() {
  int result = kFailed;
  for (std::size_t i = 0; i < session.servers.size() && result == kFailed; ++i)
    result = UpdatePerServer(session.servers[i].c_str());
  if (result != kDone) return kFailed;
  if (!DownCancelled) (void)session.tell(ProgressUpdateDone, nullptr);
  return kDone;
}

int QX_BDUpdater::UpdatePerServer(const char* server) {
  if (!session.isOpen()) return kFailed;
  const std::time_t now = std::time(nullptr);
  writeLog(session.log, "LOG: Update started from server %s\n", std::ctime(&now));
  Attempt attempt(session, server);
  int result = attempt.begin([&] { return transfer(server, kBdFormat.index, true); });
  if (result == kDone) result = findChanges(attempt);
  if (result != kDone) return result;
  if (attempt.wanted.empty()) return attempt.endUpToDate(listsAnything);

  const bool downloadsAreThere = downloadFiles(attempt);
  if (attempt.beginInstallation(downloadsAreThere) && backUp()) install(attempt);

  RemoveDirs();
  return attempt.cancelled ? kCancelled : kDone;
}

int QX_BDUpdater::findChanges(Attempt& attempt) {
  const std::string& installed = attempt.installedIndex;
  // One that cannot be read is an error of the comparison.
  const bool hasIndex = fileExists(installed) && attempt.predecessor != Unfinished::NoIndex &&
                        (!isReadable(installed) || listsAnything(installed));
  const bool alsoDoubtful = attempt.predecessor != Unfinished::Nothing;

  const int result =
      findWantedByVersions(session, attempt.downloadedIndex.c_str(),
                           hasIndex ? installed.c_str() : nullptr, alsoDoubtful, attempt.wanted);
  if (result == kDone && alsoDoubtful) removeStaged(attempt);
  return result;
}

// Whether all of them are there.
bool QX_BDUpdater::downloadFiles(Attempt& attempt) {
  const std::string directory = attempt.server + std::string("/avx");
  const FetchEnd end = fetchAll(session, attempt.wanted, [&](const Wanted& file) {
    return DownloadFile(directory.c_str(), file.name.c_str(), static_cast<unsigned int>(file.size),
                        true);
  });
  if (end.result < 0) session.reportError("Error downloading " + end.failed->name);
  attempt.cancelled = end.result == kCancelled;
  return end.result == kDone;
}

// Whether the installation may go on. A database that this run has made has nothing to
// lose.
bool QX_BDUpdater::backUp() {
  if (baseCreated) return true;
  writeLog(session.log, "LOG: Getting backup of current av database at %s\n",
           backup ? backup->place().c_str() : "");
  if (GetCurrentAVBackup() >= 0) return true;
  session.reportError(std::string("Error installing AV Database!") +
                      (session.backupPath ? " Can not get AV Backup." : ""));
  return false;
}

void QX_BDUpdater::install(const Attempt& attempt) {
  const bool backupIsWhole = !baseCreated && backup->isWhole();
  bool hasAddedFiles = attempt.predecessor != Unfinished::Nothing;
  IndexSetAside index(attempt.installedIndex);
  std::optional<std::string> failure;
  for (std::size_t i = 0; i < attempt.wanted.size() && index.isSafe() && !failure; ++i)
    failure = installFile(attempt.wanted[i], hasAddedFiles);
  if (!failure) failure = installIndex(attempt, index);
  if (!failure) return;
  session.reportError(*failure);
  if (index.isSafe()) undoInstallation(index, backupIsWhole, hasAddedFiles);
}

// A copy or decompression that failed shows in the digest. What it has left is removed
// where nothing stood before: nothing else would ever replace it.
std::optional<std::string> QX_BDUpdater::installFile(const Wanted& file,
                                                     bool& hasAddedFiles) const {
  const std::string staged = session.installed(file.name);
  const std::string installed = staged.substr(0, staged.rfind(kBdSuffix));
  const bool stagedIsNew = !fileExists(staged);
  const bool isNew = !fileExists(installed);
  const int copied = copyFile(session.downloaded(file.name), staged);
  const int decompressed = runInstallation("gunzip -S .gzip -f " + shellWord(staged) + kQuietly);
  const bool isListed = md5Of(installed) == file.proof;
  if (stagedIsNew) unlink(staged.c_str());
  if (isNew && !isListed) unlink(installed.c_str());

  if (copied < 0 || decompressed < 0) {
    writeLog(session.log, "Error installing %s\n", file.name.c_str());
    return "Error installing " + file.name;
  }
  if (!isListed) {
    writeLog(session.log, "LOG: md5sum mismatch for %s\n", installed.c_str());
    return "md5sum mismatch for " + installed;
  }
  hasAddedFiles = hasAddedFiles || isNew;
  writeLog(session.log, "Installed %s\n", file.name.c_str());
  unlink(session.downloaded(file.name).c_str());
  return std::nullopt;
}

// A copy that ran and did not arrive is a failure, too: new files under the old index
// are a database that no index describes.
std::optional<std::string> QX_BDUpdater::installIndex(const Attempt& attempt,
                                                      IndexSetAside& index) const {
  if (index.replaceBy(attempt.downloadedIndex) < 0 || !index.isReplaced()) {
    writeLog(session.log, "Error installing %s\n", kBdFormat.index);
    return std::string("Error installing ") + kBdFormat.index;
  }
  (void)session.tell(ProgressInstallDone, attempt.server);
  writeLog(session.log, "LOG: Update done from server\n");
  (void)session.tell(ProgressDownloadDone, attempt.server);
  return std::nullopt;
}

// An incomplete backup is not copied back: its cut files would replace whole ones.
// Where none was taken there may still be an older one. The index goes on waiting when
// this run or its predecessor has added files: the next one would not fetch them, and
// when nothing else is new it would never install the index that lists them.
void QX_BDUpdater::undoInstallation(IndexSetAside& index, bool backupIsWhole, bool hasAddedFiles) {
  if (!backupIsWhole) {
    if (baseCreated || !backup->exists()) RevertCurrentBackup();
    return;
  }
  index.clearPlace();
  if (!backup->restore()) {
    writeLog(session.log, "LOG: Error restoring the database from %s\n", backup->place().c_str());
    keepBackup = true;
  } else if (!hasAddedFiles) {
    index.putBack();
  }
}
