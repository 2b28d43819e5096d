// The installed index, while it and the files around it are replaced.
//
// A part of an index hides from later runs what it does not list, and an index that
// is older than its files does not say which of them are whole. The old index
// therefore waits beside its place, as ".NAME.waiting", from before the first file
// is copied in until everything is on the disk. A run that finds one waiting knows
// that its predecessor did not finish.
#pragma once

#include <functional>
#include <string>

// The name or path under which an index waits.
std::string waitingName(const std::string& index);

// What a run before this one has left of its installation.
enum class Unfinished {
  Nothing,   // it came to its end
  OldIndex,  // the index of before; a file that this does not list may be cut
  NoIndex,   // there was no index; one that is there now may be cut and tells nothing
};

// Puts an index that waits back into its place. It waits on, as a second link,
// until an installation is complete: the run after a failed mend must know as well.
Unfinished putIndexBack(const std::string& installed);

// Ends an attempt that has found nothing to fetch. A database that was never given
// its index gets the downloaded one, and an index that still waits need not do so
// any longer. `lists` tells whether an index lists anything.
void settleIndex(const std::string& installed, const std::string& downloaded,
                 Unfinished predecessor, const std::function<bool(const std::string&)>& lists);

// Lets the installed index wait while the object lives. When it goes without the
// index having been replaced or put back, the index is in its place again and still
// waits, so that the next run knows. Where there was no index an empty file waits. A
// symbolic link is written through instead, and nothing waits. On a file system
// without links the index is renamed for the moment of the copy.
class IndexSetAside {
 public:
  explicit IndexSetAside(std::string installed);
  ~IndexSetAside();
  IndexSetAside(const IndexSetAside&) = delete;
  IndexSetAside& operator=(const IndexSetAside&) = delete;

  // False when there is an index and it cannot be set aside, on a full overlay for
  // instance: nothing may be copied into the database then.
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
  enum class State { None, Waiting, Movable, LinkElsewhere, Unsafe, Replaced, PutBack };
  State linkAside() const;

  const std::string installed_;
  const std::string waiting_;
  const bool isThere_;  // the index, when the object was made
  State state_;
};
