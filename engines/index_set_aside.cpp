#include "engines/index_set_aside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "engines/file_commands.h"
#include "engines/files.h"
#include "engines/result.h"

namespace {

std::string directoryOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first = {};
  struct stat second = {};
  return lstat(a.c_str(), &first) == 0 && lstat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Into its place, while it waits on. A kill in between leaves it waiting, at the
// cost of a moment without an index.
void linkBack(const std::string& waiting, const std::string& installed) {
  if (isSameFile(waiting, installed)) return;
  unlink(installed.c_str());
  if (link(waiting.c_str(), installed.c_str()) != 0)
    std::rename(waiting.c_str(), installed.c_str());
}

// An empty file that tells of an installation without an index before it. Without
// it, on a full disk for instance, there is still nothing to lose.
void markNoIndex(const std::string& waiting) {
  const int file = open(waiting.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file >= 0) close(file);
}

}  // namespace

std::string waitingName(const std::string& index) {
  const std::size_t name = index.rfind('/') + 1;
  return index.substr(0, name) + "." + index.substr(name) + ".waiting";
}

Unfinished putIndexBack(const std::string& installed) {
  const std::string waiting = waitingName(installed);
  if (!isRegularFile(waiting)) return Unfinished::Nothing;
  if (!hasContents(waiting)) return Unfinished::NoIndex;
  linkBack(waiting, installed);
  return Unfinished::OldIndex;
}

void settleIndex(const std::string& installed, const std::string& downloaded,
                 Unfinished predecessor, const std::function<bool(const std::string&)>& lists) {
  const bool needed = predecessor == Unfinished::NoIndex || !lists(installed);
  if (needed && lists(downloaded))
    (void)IndexSetAside(installed).replaceBy(downloaded);
  else if (predecessor == Unfinished::OldIndex)
    unlink(waitingName(installed).c_str());
}

IndexSetAside::IndexSetAside(std::string installed)
    : installed_(std::move(installed)),
      waiting_(waitingName(installed_)),
      isThere_(fileExists(installed_)),
      state_(State::None) {
  const bool isLeft = isRegularFile(waiting_);  // by a run that did not finish
  if (isSymbolicLink(installed_)) {
    state_ = State::LinkElsewhere;
  } else if (isLeft && hasContents(waiting_)) {
    state_ = State::Waiting;
  } else if (isThere_ && !isLeft) {
    state_ = linkAside();
  } else {
    markNoIndex(waiting_);
  }
}

IndexSetAside::State IndexSetAside::linkAside() const {
  unlink(waiting_.c_str());
  if (link(installed_.c_str(), waiting_.c_str()) == 0) return State::Waiting;
  const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS;
  return hasNoLinks ? State::Movable : State::Unsafe;
}

IndexSetAside::~IndexSetAside() {
  if (state_ == State::Waiting) linkBack(waiting_, installed_);
  if (state_ == State::None && !fileExists(installed_)) unlink(waiting_.c_str());
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
    if (syncFileSystem(directoryOf(installed_)) && state_ != State::LinkElsewhere)
      unlink(waiting_.c_str());
    state_ = State::Replaced;
  } else if (state_ == State::Waiting) {
    linkBack(waiting_, installed_);
  } else if (state_ == State::None && !isThere_) {
    unlink(installed_.c_str());
  }
  return status;
}

void IndexSetAside::putBack() {
  if (state_ != State::Waiting) return;
  // Two links to one file are left as they are by rename().
  std::rename(waiting_.c_str(), installed_.c_str());
  unlink(waiting_.c_str());
  state_ = State::PutBack;
}
