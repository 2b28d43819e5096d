// The coordinator's lock: a file with the name of its owner and the owner's process number.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>

#include "update/coordinator.h"
#include "update/paths.h"

namespace {

// Two programs that start together must not both find the lock free. So this guard locks
// the directory of the lock file, from the look at the lock file until ours is written. If
// the directory cannot be locked, the guard does nothing.
class LockGuard {
 public:
  LockGuard() : directory_(open(kLockDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    // Another updatenow holds this lock for milliseconds. But every user who can read the
    // directory can lock it, so the wait is limited.
    int left = kPatienceMs;
    while (flock(directory_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && left-- > 0)
      usleep(1000);
  }
  ~LockGuard() {
    if (directory_ >= 0) close(directory_);
  }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  static constexpr int kPatienceMs = 5000;
  int directory_;
};

bool writeLockFile(const char* owner) {
  File file = openFile(kLockFile, "w");
  if (file == nullptr) return false;
  const bool written = std::fprintf(file.get(), "%s:%d", owner, getpid()) > 0;
  if (std::fclose(file.release()) == 0 && written) return true;
  // The disk may be full. A lock file without our process number would keep nobody out.
  unlink(kLockFile);
  return false;
}

}  // namespace

int QX_AVUpdate::LockUpdate(const char* name) {
  if (locked) throw QX_AVUpdateExceptions(QX_AVUpdateExceptions::ExceptionAlreadyLocked);
  const char* const owner = name != nullptr ? name : "Unknown Process";
  try {
    log = std::make_unique<QX_AVUpdateLog>(kUpdateLog);
    log->Start(nullptr);
    const LockGuard guard;
    if (isRunning()) throw QX_AVUpdateExceptions(QX_AVUpdateExceptions::ExceptionAlreadyLocked);
    if (!writeLockFile(owner))
      throw QX_AVUpdateExceptions(QX_AVUpdateExceptions::ExceptionLockError);
  } catch (const std::bad_alloc&) {
    log.reset();
    throw "Can not allocate memory to log";
  } catch (...) {
    log.reset();
    throw;
  }
  locked = true;
  log->Log("Update locked by %s:%d\n", owner, getpid());
  return 0;
}

bool QX_AVUpdate::isRunning() {
  if (!fileExists(kLockFile)) return false;
  const File file = openFile(kLockFile);
  if (file == nullptr) return true;
  char line[63] = "";
  if (std::fgets(line, sizeof line, file.get()) == nullptr) line[0] = '\0';

  // The line is "OWNER:PID", split at the last colon. A line without a colon counts as both.
  const std::string text(line, std::strcspn(line, "\n"));
  const std::size_t colon = text.rfind(':');
  const char* const number = text.c_str() + (colon + 1);
  const char* const end = text.c_str() + text.size();
  int pid = 0;
  // For a number below 1, kill() would ask about a group of processes.
  if (std::from_chars(number, end, pid).ptr == end && pid >= 1 && kill(pid, 0) == 0) {
    if (log != nullptr)
      log->Log("Update is already in progress by %s\n", text.substr(0, colon).c_str());
    return true;
  }
  unlink(kLockFile);
  return false;
}

int QX_AVUpdate::UnLockUpdate() {
  if (!locked) throw QX_AVUpdateExceptions(QX_AVUpdateExceptions::ExceptionNotLocked);
  writeLog(log.get(), "\nUnlocking update\n");
  log.reset();
  locked = false;
  return unlink(kLockFile);
}
