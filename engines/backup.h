// A copy of the database from before an installation, which can undo it.
#pragma once

#include "engines/session.h"
#include "system/file_commands.h"

// Owns nothing on disk: the copy outlives the object. Whether a copy worked is told by
// its files, not by cp's status alone, which is 1 already when an owner could not be
// kept.
class Backup {
 public:
  // A copy of the session's database in the directory `place`.
  Backup(const Session& session, std::string place);

  const std::string& place() const { return place_; }
  bool exists() const { return fileExists(place_); }

  // Removes what lies in the place. Returns what system() does.
  int remove() const { return removeTree(place_); }

  // Copies the database to the place, which was cleared before, and returns cp's status
  // as system() does. An index that waits in the database is left out.
  int take();

  // Whether the copy just taken is whole; asked while the database is still the same.
  // Without status 0, or with a place that could not be cleared, every file is
  // compared.
  [[nodiscard]] bool isWhole();

  // Copies the visible entries of the place over the database: cp's status.
  int copyBack() const;

  // The same for a copy that is whole, once more without a pattern if need be, and onto
  // the disk. Whether the copy is in the database again.
  [[nodiscard]] bool restore() const;

 private:
  std::string base_;
  std::string place_;
  std::string waiting_;      // the name under which the index may wait
  bool isCopied_ = false;    // the last copy ended with status 0 in a cleared place
  bool holdsFiles_ = false;  // the last whole copy does
};
