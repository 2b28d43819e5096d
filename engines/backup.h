// A copy of the database from before an installation. It can undo the installation.
#pragma once

#include "engines/format.h"
#include "engines/places.h"

// The object owns nothing on the disk: the copy stays when the object goes.
class Backup {
 public:
  // A copy of the database in the directory `place`. A slash at the end of `place` is
  // ignored. It would lead through a link, and the copy would become a folder in there.
  Backup(const Places& places, const EngineFormat& format, const std::string& place);

  const std::string& place() const { return place_; }
  bool exists() const;

  // Removes what lies in the place. Returns what system() does.
  int remove() const;

  // Copies the database to the place, without a journal. The caller has removed an older
  // copy. Returns cp's status as system() does.
  int take() const;

  // Copies the visible entries of the place over the database. Returns cp's status.
  int copyBack() const;

 private:
  std::string base_;
  std::string place_;
  std::string journal_;  // where a journal's copy would lie
};
