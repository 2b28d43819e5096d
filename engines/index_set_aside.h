// The installed index, while it and the files around it are replaced.
//
// A part of an index hides from later runs what it does not list, and an index that
// is older than its files does not say which of them are whole. The old index
// therefore waits beside its place, as ".NAME.waiting", from before the first file
// is copied in until everything is on the disk. A run that finds one waiting knows
// that its predecessor did not finish.
#pragma once

#include <string>

// The name or path under which an index waits.
std::string waitingName(const std::string& index);

// What a run before this one has left of its installation.
enum class Unfinished {
  Nothing,   // it came to its end
  OldIndex,  // the index of before; a file that this does not list may be cut
  NoIndex,   // the index that is there, if any, may be cut and tells nothing
};

// Puts an index that waits back into its place. It waits on, as a second link,
// until an installation is complete: the run after a failed mend must know as well.
[[nodiscard]] Unfinished putIndexBack(const std::string& installed);

// Lets the installed index wait while the object lives. When it goes without the index
// having been replaced or put back, the index is in its place again and still waits,
// so that the next run knows. An empty file waits where there was no index, or one
// that tells nothing, and where the index is a symbolic link or mounted there by
// itself, which is written through: the next run then judges the files by themselves.
// On a file system without links that file waits, too, and the index is renamed for
// the moment of its copy.
class IndexSetAside {
 public:
  explicit IndexSetAside(std::string installed);
  ~IndexSetAside();
  IndexSetAside(const IndexSetAside&) = delete;
  IndexSetAside& operator=(const IndexSetAside&) = delete;

  // False when nothing can wait, on a full disk for instance: nothing may be copied
  // into the database then.
  bool isSafe() const { return state_ != State::Unsafe; }

  // Leaves the index's place to a copy that is about to come.
  void clearPlace();

  // Copies a downloaded index into the place and returns what system() does. What
  // counts is isReplaced(): that the copy has the downloaded bytes. Only then, and
  // with all on the disk, is the old index given up; else it is back in its place.
  [[nodiscard]] int replaceBy(const std::string& downloaded);
  bool isReplaced() const { return state_ == State::Replaced; }

  // After the files around it were put back: the index in its place, none waiting.
  void putBack();

 private:
  enum class State { Marked, Waiting, Movable, Unsafe, Replaced, PutBack };
  State linkAside() const;

  const std::string installed_;
  const std::string waiting_;
  const bool isThere_;  // the index, when the object was made
  State state_;
};
