// One attempt at one server: what it knows, and the steps that are the same for every
// format. An engine's update_run.cpp puts them in its order.
#pragma once

#include "engines/change_set.h"
#include "engines/index_set_aside.h"

class Attempt {
 public:
  // The session and the URL outlive the attempt.
  Attempt(Session& attemptSession, const char* url);

  // Announces the attempt, puts back an index that an earlier run has left waiting,
  // and fetches the server's index. kDone; kCancelled, also when the watcher asks to
  // stop, and nothing is left of the index then; kFailed.
  [[nodiscard]] int begin(const std::function<int()>& transferIndex);

  // Ends an attempt that has found nothing to fetch: a database without an index that
  // lists anything gets the downloaded one, if `lists` says that this does. An old
  // index that waits goes on waiting, since a mirror that is older than what the
  // unfinished run fetched proves nothing. kDone, or kCancelled.
  [[nodiscard]] int endUpToDate(const std::function<bool(const std::string&)>& lists) const;

  // Announces the installation, also when the downloads failed. Whether it shall go on.
  [[nodiscard]] bool beginInstallation(bool downloadsAreThere);

  Session& session;
  const char* const server;
  const std::string downloadedIndex;
  const std::string installedIndex;
  Unfinished predecessor = Unfinished::Nothing;
  std::vector<Wanted> wanted;
  bool cancelled = false;  // the downloads or the installation
};
