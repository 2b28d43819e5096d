// One attempt at one server: its state, and the steps that are the same for every format.
// An engine's update_run.cpp calls them in this order: begin(), its own comparison, which
// fills `wanted`; endUpToDate() when nothing is wanted; otherwise fetchAll() for the
// downloads, beginInstallation(), and an Installation (journal.h).
//
// The engine writes two lines of the log itself: "Update started from server" before
// begin(), and "Update done" after an installation. It sends ProgressUpdateStarted and
// ProgressUpdateDone around its run, ProgressError after a failure, and ProgressInstallDone
// and ProgressDownloadDone after an installation. The other lines and events come from
// Attempt, fetchAll() and Session::fetch(). A run whose installation failed returns kDone all
// the same: updatenow-run judges by the log.
#pragma once

#include "engines/change_set.h"

class Attempt {
 public:
  // The session and the URL outlive the attempt.
  Attempt(Session& attemptSession, const char* url) : session(attemptSession), server(url) {}

  // Sends ProgressDownloadStarted, recovers the database (see journal.h) and fetches the
  // server's index. Returns kDone, kFailed, or kCancelled, also when the watcher asks to
  // stop. After a cancel the downloaded index is removed.
  [[nodiscard]] int begin(const Transfer& index);

  // Ends an attempt that has found nothing to fetch. It installs the downloaded index when
  // that differs from the installed one, lists something, and lists every name that the
  // installed one lists. Returns kDone, or kCancelled when the watcher asks to stop.
  [[nodiscard]] int endUpToDate() const;

  // Sends ProgressInstallStarted, also after downloads that failed: `downloads` is their
  // result. Returns kCancelled when the watcher asks to stop, otherwise `downloads`. The
  // engine installs after kDone only.
  [[nodiscard]] int beginInstallation(int downloads) const;

  Session& session;
  const char* const server;
  const std::string downloadedIndex = session.places.downloaded(session.format->index);
  const std::string installedIndex = session.places.installed(session.format->index);
  std::vector<Wanted> wanted;

 private:
  bool wantsIndex() const;
};
