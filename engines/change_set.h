// What an update has to download, whatever the format.
#pragma once

#include <set>

#include "engines/session.h"

// The sum of the sizes; it wraps, see addBytes().
std::int32_t totalSize(const std::vector<Wanted>& wanted);

// A size as an index lists it: leading decimal digits with an optional sign, 0 without
// any, the nearest number of 32 bits for one that has more.
std::int32_t listedSize(const std::string& text);

// Tells the log that an index cannot be read, and returns kFailed.
[[nodiscard]] int cannotRead(const Session& session, const std::string& index);

// Judges the names that one downloaded index lists. Looks up the directories once, and
// each folder of the names once.
class NameJudge {
 public:
  explicit NameJudge(const Session& session)
      : session_(session), guarded_(guardedPlaces(session.places)) {}

  // Whether a name must not be fetched: it is empty, or it would reach something else than
  // a file of the database, or it would be fetched into a directory that others use. The
  // log names it then.
  [[nodiscard]] bool refuses(const std::string& name);

 private:
  bool reachesGuarded(const std::string& name);

  const Session& session_;
  const std::vector<std::string> guarded_;
  std::set<std::string> known_;  // folders of names that reach none of them
};

// Where the downloads of a change set ended: kDone after the last one, otherwise what
// `failed` came to, kCancelled or negative.
struct FetchEnd {
  int result;
  const Wanted* failed;
};

// Downloads a change set in its order, a line in the log for each file. The session's
// counters are the set's meanwhile, and 0 afterwards.
[[nodiscard]] FetchEnd fetchAll(Session& session, const std::vector<Wanted>& wanted,
                                const std::function<int(const Wanted&)>& fetchOne);
