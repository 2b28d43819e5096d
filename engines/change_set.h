// The files that an update has to download, in every format.
#pragma once

#include <set>

#include "engines/session.h"

// The sum of the sizes. It wraps: see addBytes().
std::int32_t totalSize(const std::vector<Wanted>& wanted);

// Reads a size of an index: decimal digits at the start, with an optional sign. A text
// without digits gives 0. A larger number gives the nearest one of 32 bits.
std::int32_t listedSize(const std::string& text);

// Writes to the log that the index at this path cannot be read. Returns kFailed.
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

// Downloads a change set in its order with Session::fetch(), up to the first file that cannot
// be fetched, and writes a line to the log for each file. A file of a format without a suffix
// must also have the proof that the index lists. The session counts the bytes of the set
// meanwhile; afterwards its counters are 0. Returns kDone, kCancelled, or a negative result:
// that of the judgement, or kFailed for a wrong proof. It is that of the file for which
// `transferOf` was asked last.
[[nodiscard]] int fetchAll(Session& session, const std::vector<Wanted>& wanted,
                           const std::function<Transfer(const Wanted&)>& transferOf);
