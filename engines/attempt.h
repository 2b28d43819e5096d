// One attempt at one server: its state, and the steps that are the same for every format.
// An engine's update_run.cpp calls them in this order: begin(), its own comparison, which
// fills `wanted`; endUpToDate() when nothing is wanted; otherwise downloadFiles(),
// beginInstallation(), and after kDone an Installation (journal.h) with install().
//
// The engine writes the line "Update started from server" itself, before begin(). The other
// lines and events come from Session and Attempt. An engine that calls fetchAll() itself sends
// ProgressError after a failure. One that does not call install() writes "Update done", and
// sends ProgressInstallDone and ProgressDownloadDone. A run whose installation failed returns
// kDone all the same: updatenow-run judges by the log.
#pragma once

#include "engines/change_set.h"
#include "engines/journal.h"

class Attempt {
 public:
  // The session and the URL outlive the attempt.
  Attempt(Session& attemptSession, const char* url) : session(attemptSession), server(url) {}

  // Sends ProgressDownloadStarted, recovers the database (see journal.h) and fetches the
  // server's index. Returns kDone; kFailed, also when the recovery failed; or kCancelled, also
  // when the watcher asks to stop. After a cancel the downloaded index is removed.
  [[nodiscard]] int begin(const Transfer& index);

  // Ends an attempt that has found nothing to fetch. It installs the downloaded index when
  // that differs from the installed one, lists something, and lists every name that the
  // installed one lists. Returns kDone, or kCancelled when the watcher asks to stop.
  [[nodiscard]] int endUpToDate() const;

  // Downloads the set with fetchAll(). After a failure it sends ProgressError with the name of
  // the file that could not be fetched. Returns what fetchAll() returns.
  [[nodiscard]] int downloadFiles(const std::function<Transfer(const Wanted&)>& transferOf) const;

  // Sends ProgressInstallStarted, also after downloads that failed: `downloads` is their
  // result. Returns kCancelled when the watcher asks to stop, otherwise `downloads`. The
  // engine installs after kDone only.
  [[nodiscard]] int beginInstallation(int downloads) const;

  // Installs the files of the set with `installFile`, up to the first for which that returns
  // false, and then the index. The installation was opened for this set. Without a journal it
  // changes nothing. Then it sends ProgressInstallDone, logs "Update done" and sends
  // ProgressDownloadDone. Returns whether all that was done. A failure of the index is logged
  // and told to the watcher; `installFile` does so for a file. The caller undoes what was
  // installed.
  [[nodiscard]] bool install(Installation& installation,
                             const std::function<bool(const Wanted&)>& installFile) const;

  // Removes the files of the set and the index from the download directory.
  void removeDownloads() const;

  Session& session;
  const char* const server;
  const std::string downloadedIndex = session.places.downloaded(session.format->index);
  const std::string installedIndex = session.places.installed(session.format->index);
  std::vector<Wanted> wanted;

 private:
  bool wantsIndex() const;
};
