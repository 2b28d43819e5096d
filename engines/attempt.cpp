#include "engines/attempt.h"

#include <unistd.h>

Attempt::Attempt(Session& attemptSession, const char* url)
    : session(attemptSession),
      server(url),
      downloadedIndex(session.downloaded(session.format->index)),
      installedIndex(session.installed(session.format->index)) {}

int Attempt::begin(const std::function<int()>& transferIndex) {
  if (!session.tell(ProgressDownloadStarted, server)) return kCancelled;
  predecessor = putIndexBack(installedIndex);
  const EngineFormat& format = *session.format;
  const int result = session.fetch(format.index, 0, false, transferIndex);
  if (result == kCancelled) unlink(downloadedIndex.c_str());
  if (result >= 0) return result;
  writeLog(session.log, "%sError downloading %s\n", format.prefix, format.index);
  return kFailed;
}

int Attempt::endUpToDate(const std::function<bool(const std::string&)>& lists) const {
  if (!session.tell(ProgressAlreadyUpdated, server)) return kCancelled;
  if ((predecessor == Unfinished::NoIndex || !lists(installedIndex)) && lists(downloadedIndex))
    (void)IndexSetAside(installedIndex).replaceBy(downloadedIndex);
  writeLog(session.log, "%sNo update found. Virus database is up to date\n",
           session.format->prefix);
  return kDone;
}

bool Attempt::beginInstallation(bool downloadsAreThere) {
  if (!session.tell(ProgressInstallStarted, server)) cancelled = true;
  if (cancelled || !downloadsAreThere) return false;
  writeLog(session.log, "%sUpdate Installation started\n", session.format->prefix);
  return true;
}
