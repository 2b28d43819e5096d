// One attempt at one server: what it knows, and the steps that are the same for every
// format. An engine's update_run.cpp puts them in its order.
#pragma once

#include "engines/change_set.h"

class Attempt {
 public:
  // The session and the URL outlive the attempt.
  Attempt(Session& attemptSession, const char* url);

  // Announces the attempt, closes an installation that was left open (see journal.h), and
  // fetches the server's index. kDone; kCancelled, also when the watcher asks to stop,
  // and nothing is left of the index then; kFailed.
  [[nodiscard]] int begin(const Transfer& index);

  // Ends an attempt that has found nothing to fetch. The downloaded index is installed
  // when it is not the installed one, lists something, and lists every name that the
  // installed one lists. kDone, or kCancelled.
  [[nodiscard]] int endUpToDate() const;

  // Announces the installation, whatever the downloads came to. Returns that: kDone when
  // it shall go on, or kCancelled also when the watcher asks to stop.
  [[nodiscard]] int beginInstallation(int downloads) const;

  Session& session;
  const char* const server;
  const std::string downloadedIndex;
  const std::string installedIndex;
  std::vector<Wanted> wanted;

 private:
  bool wantsIndex() const;
};
