#include "engines/index_set_aside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "engines/result.h"
#include "system/file_commands.h"
#include "system/files.h"

namespace {

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first = {};
  struct stat second = {};
  return lstat(a.c_str(), &first) == 0 && lstat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// An empty file says that the index in the place tells nothing. Whatever else lies
// there is nobody's.
bool markAside(const std::string& waiting) {
  unlink(waiting.c_str());
  const int file = open(waiting.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  return file >= 0 && close(file) == 0;
}

// Into its place, while it waits on. A kill in between leaves it waiting, at the
// cost of a moment without an index.
void linkBack(const std::string& waiting, const std::string& installed) {
  if (isSameFile(waiting, installed)) return;
  unlink(installed.c_str());
  if (link(waiting.c_str(), installed.c_str()) == 0) return;
  std::rename(waiting.c_str(), installed.c_str());
  markAside(waiting);
}

}  // namespace

std::string waitingName(const std::string& index) {
  const std::size_t name = index.rfind('/') + 1;
  return index.substr(0, name) + "." + index.substr(name) + ".waiting";
}

// What waits tells how far the run before this one came, since it waits from before the
// first file is copied in until all is on the disk. An index with contents is whole, and
// what it lists was there before: only files that it does not list may be cut. An empty
// file vouches for nothing. Neither is removed here: this run may fail as well, and the
// next one must then know the same.
Unfinished putIndexBack(const std::string& installed) {
  const std::string waiting = waitingName(installed);
  if (!isRegularFile(waiting)) return Unfinished::Nothing;
  if (!hasContents(waiting)) return Unfinished::NoIndex;
  linkBack(waiting, installed);
  return Unfinished::OldIndex;
}

IndexSetAside::IndexSetAside(std::string installed)
    : installed_(std::move(installed)),
      waiting_(waitingName(installed_)),
      isThere_(fileExists(installed_)),
      state_(State::Marked) {
  const bool isLeft = isRegularFile(waiting_);  // by a run that did not finish
  if (isLeft && hasContents(waiting_))
    state_ = State::Waiting;
  else if (isThere_ && !isLeft && !isSymbolicLink(installed_))
    state_ = linkAside();
  if (state_ != State::Waiting && state_ != State::Unsafe && !markAside(waiting_))
    state_ = State::Unsafe;
}

IndexSetAside::State IndexSetAside::linkAside() const {
  if (!isRegularFile(installed_)) return State::Unsafe;
  if (link(installed_.c_str(), waiting_.c_str()) == 0) return State::Waiting;
  if (errno == EXDEV) return State::Marked;  // mounted there as a single file
  return errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS ? State::Movable : State::Unsafe;
}

IndexSetAside::~IndexSetAside() {
  if (state_ == State::Waiting) linkBack(waiting_, installed_);
  if (state_ == State::Marked && !fileExists(installed_)) unlink(waiting_.c_str());
}

void IndexSetAside::clearPlace() {
  if (state_ == State::Movable && std::rename(installed_.c_str(), waiting_.c_str()) == 0)
    state_ = State::Waiting;
  // A copy would otherwise be written into the file that waits.
  if (state_ == State::Waiting) unlink(installed_.c_str());
}

int IndexSetAside::replaceBy(const std::string& downloaded) {
  clearPlace();
  if (state_ == State::Unsafe || state_ == State::Movable) return kFailed;
  const int status = copyFile(downloaded, installed_);
  if (hasSameContents(downloaded, installed_)) {
    const std::string directory = installed_.substr(0, installed_.rfind('/'));
    if (syncFileSystem(directory)) {
      unlink(waiting_.c_str());
      syncDirectory(directory);
    }
    state_ = State::Replaced;
  } else if (state_ == State::Waiting) {
    linkBack(waiting_, installed_);
  } else if (state_ == State::Marked && !isThere_) {
    unlink(installed_.c_str());
  }
  return status;
}

void IndexSetAside::putBack() {
  // Two links to one file are left as they are by rename().
  if (state_ == State::Waiting) std::rename(waiting_.c_str(), installed_.c_str());
  if (isSafe()) unlink(waiting_.c_str());
  state_ = State::PutBack;
}
