// The files that an update has to download, in every format.
#pragma once

#include <set>

#include "engines/session.h"

// The sum of the sizes. It wraps: see addBytes().
std::int32_t totalSize(const std::vector<Wanted>& wanted);

// Reads a size of an index: decimal digits at the start, with an optional sign. A text
// without digits gives 0. A larger number gives the nearest one of 32 bits.
std::int32_t listedSize(const std::string& text);

// Writes to the log that an index cannot be read. Returns kFailed.
[[nodiscard]] int cannotRead(const Session& session, const std::string& index);

// Judges the names that one downloaded index lists. It looks up each directory once.
class NameJudge {
 public:
  explicit NameJudge(const Session& session) : session_(session) {}

  // Whether a name must not be fetched: it is empty, it would lead out of the database, it
  // stands for the index or its journal, or it would be fetched into the database, its
  // backup or a directory of the program. The log names a refused one.
  [[nodiscard]] bool refuses(const std::string& name);

 private:
  bool reachesGuarded(const std::string& name);

  const Session& session_;
  const std::vector<std::string> guarded_ = guardedPlaces(session_.places);
  std::set<std::string> known_;  // folders that reach no guarded place
};

// How the downloads of a change set ended.
struct FetchEnd {
  int result;            // kDone, kCancelled, or the negative result of `failed`
  const Wanted* failed;  // the file that ended them; null after kDone
};

// Downloads a change set in its order and writes a line to the log for each file. `fetchOne`
// fetches a file with Session::fetch() and returns its result, or a negative one when what
// came is wrong. The session counts the bytes of the set meanwhile; afterwards its counters
// are 0.
[[nodiscard]] FetchEnd fetchAll(Session& session, const std::vector<Wanted>& wanted,
                                const std::function<int(const Wanted&)>& fetchOne);
