// A copy of the database from before an installation, which can undo it.
#pragma once

#include "engines/format.h"
#include "engines/places.h"

// Owns nothing on disk: the copy outlives the object.
class Backup {
 public:
  // A copy of the database in the directory `place`. A slash at the end of `place` is
  // ignored: through it a link would be followed, and the copy would nest in there.
  Backup(const Places& places, const EngineFormat& format, const std::string& place);

  const std::string& place() const { return place_; }
  bool exists() const;

  // Removes what lies in the place. Returns what system() does.
  int remove() const;

  // Copies the database to the place, which was cleared before. A journal is left out.
  // Returns cp's status as system() does.
  int take() const;

  // Copies the visible entries of the place over the database. Returns cp's status.
  int copyBack() const;

 private:
  std::string base_;
  std::string place_;
  std::string journal_;  // where a journal's copy would lie
};
