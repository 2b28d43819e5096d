#include "engines/attempt.h"

#include <unistd.h>

Attempt::Attempt(Session& attemptSession, const char* url)
    : session(attemptSession),
      server(url),
      downloadedIndex(session.downloaded(session.format->index)),
      installedIndex(session.installed(session.format->index)) {}

int Attempt::begin() {
  if (!session.tell(ProgressDownloadStarted, server)) return kCancelled;
  predecessor = putIndexBack(installedIndex);
  return kDone;
}

int Attempt::fetchIndex(const std::function<int()>& fetch) const {
  const int result = fetch();
  if (result == kCancelled) unlink(downloadedIndex.c_str());
  if (result >= 0) return result;
  writeLog(session.log, "%sError downloading %s\n", session.format->prefix, session.format->index);
  return kFailed;
}

int Attempt::endUpToDate(const std::function<bool(const std::string&)>& lists) const {
  if (!session.tell(ProgressAlreadyUpdated, server)) return kCancelled;
  settleIndex(installedIndex, downloadedIndex, predecessor, lists);
  writeLog(session.log, "%sNo update found. Virus database is up to date\n",
           session.format->prefix);
  return kDone;
}

bool Attempt::beginInstallation(bool downloadsAreThere) {
  if (!session.tell(ProgressInstallStarted, server)) {
    cancelled = true;
    return false;
  }
  if (downloadsAreThere)
    writeLog(session.log, "%sUpdate Installation started\n", session.format->prefix);
  return downloadsAreThere;
}
