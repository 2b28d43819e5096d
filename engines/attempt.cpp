#include "engines/attempt.h"

#include <algorithm>

#include "app/interrupt.h"
#include "engines/index_name.h"

int Attempt::begin(const Transfer& index) {
  if (!session.tell(ProgressDownloadStarted, server)) return kCancelled;
  if (Installation::recover(session) != kDone) return kFailed;
  const EngineFormat& format = *session.format;
  const int result = session.fetch(format.index, 0, false, index);
  if (result == kCancelled) removeFile(downloadedIndex);
  if (result >= 0) return result;
  writeLog(session.log, "%sError downloading %s\n", format.prefix, format.index);
  return kFailed;
}

int Attempt::endUpToDate() const {
  if (!session.tell(ProgressAlreadyUpdated, server)) return kCancelled;
  const EngineFormat& format = *session.format;
  if (wantsIndex()) {
    Installation installation(session, wanted);
    (void)installation.installIndex();
    if (!installation.isComplete())
      writeLog(session.log, "%sError installing %s\n", format.prefix, format.index);
  }
  writeLog(session.log, "%sNo update found. Virus database is up to date\n", format.prefix);
  return kDone;
}

// A page that lists nothing never replaces an index, and an index that is short for a moment
// never replaces one that lists more. After an interrupt the lists are incomplete. A list
// that cannot be read is not an empty one.
bool Attempt::wantsIndex() const {
  if (hasSameContents(downloadedIndex, installedIndex)) return false;
  std::set<std::string> coming;
  for (const Wanted& file : session.format->read(downloadedIndex).value_or(std::vector<Wanted>()))
    coming.insert(normalisedName(file.name));
  const auto installed = session.format->read(installedIndex);
  if (coming.empty() || DownCancelled) return false;
  if (!installed) return !isThere(installedIndex);
  return std::all_of(installed->begin(), installed->end(), [&coming](const Wanted& file) {
    return coming.count(normalisedName(file.name)) != 0;
  });
}

int Attempt::downloadFiles(const std::function<Transfer(const Wanted&)>& transferOf) const {
  std::string last;
  const int result = fetchAll(session, wanted, [&](const Wanted& file) {
    last = file.name;
    return transferOf(file);
  });
  if (result < 0) session.reportError("Error downloading " + last);
  return result;
}

int Attempt::beginInstallation(int downloads) const {
  if (!session.tell(ProgressInstallStarted, server)) return kCancelled;
  if (downloads == kDone)
    writeLog(session.log, "%sUpdate Installation started\n", session.format->prefix);
  return downloads;
}

// A copy of the index that ran and did not arrive is a failure, too. No index would describe
// new files under the old index.
bool Attempt::install(Installation& installation,
                      const std::function<bool(const Wanted&)>& installFile) const {
  for (const Wanted& file : wanted)
    if (installation.isOpen() && !installFile(file)) return false;
  if (installation.installIndex() < 0 || !installation.isComplete())
    return session.failed("", std::string("Error installing ") + session.format->index);
  (void)session.tell(ProgressInstallDone, server);
  writeLog(session.log, "%sUpdate done from server\n", session.format->prefix);
  (void)session.tell(ProgressDownloadDone, server);
  return true;
}

void Attempt::removeDownloads() const {
  for (const Wanted& file : wanted) removeFile(session.places.downloaded(file.name));
  removeFile(downloadedIndex);
}
