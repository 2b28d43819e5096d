// One attempt at one server: what it knows, and the steps that are the same for every
// format. An engine's update_run.cpp puts them in its order.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engines/change_set.h"
#include "engines/index_set_aside.h"
#include "engines/session.h"

class Attempt {
 public:
  // The session and the URL outlive the attempt.
  Attempt(Session& attemptSession, const char* url);

  // Announces the attempt, and puts back an index that an earlier run has left waiting.
  // kDone, or kCancelled when the watcher asks to stop.
  [[nodiscard]] int begin();

  // Fetches the index. kDone; kCancelled, with nothing left of it; kFailed.
  [[nodiscard]] int fetchIndex(const std::function<int()>& fetch) const;

  // Ends an attempt that found nothing to fetch. `lists` tells whether an index lists
  // anything. kDone, or kCancelled.
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
