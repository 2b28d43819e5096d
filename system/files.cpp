#include "system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

// Returns whether the call succeeds on the directory. After a failure errno tells the reason.
bool onDirectory(const std::string& directory, int (*call)(int)) {
  const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool done = call(descriptor) == 0;
  const int error = errno;
  close(descriptor);
  errno = error;
  return done;
}

// A question may fail for a moment, and so may a read: both are tried twice.
fs::file_type typeOf(const std::string& path) {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  return type != fs::file_type::none ? type : fs::symlink_status(path, error).type();
}

Comparison comparedOnce(const std::string& a, const std::string& b) {
  const File first = openFile(a);
  const File second = openFile(b);
  if (first == nullptr || second == nullptr) return Comparison::Unreadable;
  char ofFirst[16 * 1024];
  char ofSecond[sizeof ofFirst];
  bool isSame = true;
  for (std::size_t length = 1; length > 0 && isSame;) {
    length = std::fread(ofFirst, 1, sizeof ofFirst, first.get());
    isSame = std::fread(ofSecond, 1, sizeof ofSecond, second.get()) == length &&
             std::memcmp(ofFirst, ofSecond, length) == 0;
  }
  if (std::ferror(first.get()) != 0 || std::ferror(second.get()) != 0)
    return Comparison::Unreadable;
  return isSame ? Comparison::Same : Comparison::Different;
}

}  // namespace

File openFile(const std::string& path, const char* mode) {
  const int flags = *mode == 'r'   ? O_RDONLY
                    : *mode == 'w' ? O_WRONLY | O_CREAT | O_TRUNC
                                   : O_WRONLY | O_CREAT | O_APPEND;
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  const int descriptor = open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
  struct stat status = {};
  if (descriptor < 0) return nullptr;
  if (fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode)) &&
      fcntl(descriptor, F_SETFL, flags) == 0)
    if (std::FILE* const file = fdopen(descriptor, mode)) return File(file);
  close(descriptor);
  return nullptr;
}

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

bool isReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

bool isRegularFile(const std::string& path) { return typeOf(path) == fs::file_type::regular; }

bool isSymbolicLink(const std::string& path) { return typeOf(path) == fs::file_type::symlink; }

bool isDirectory(const std::string& path) { return typeOf(path) == fs::file_type::directory; }

bool isPipe(const std::string& path) {
  std::error_code error;
  return fs::is_fifo(path, error);
}

bool isThere(const std::string& path) { return typeOf(path) != fs::file_type::not_found; }

bool hasContents(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

Comparison compared(const std::string& a, const std::string& b) {
  const Comparison comparison = comparedOnce(a, b);
  return comparison != Comparison::Unreadable ? comparison : comparedOnce(a, b);
}

bool isSameEntry(const std::string& a, const std::string& b) {
  const fs::file_type type = typeOf(a);
  if (type != typeOf(b) || type == fs::file_type::not_found || type == fs::file_type::none)
    return false;
  std::error_code error;
  if (type == fs::file_type::symlink)
    return fs::read_symlink(a, error) == fs::read_symlink(b, error);
  return type != fs::file_type::regular || hasSameContents(a, b);
}

void takeMode(const std::string& from, const std::string& to) {
  struct stat model = {};
  struct stat status = {};
  if (lstat(from.c_str(), &model) == 0 && lstat(to.c_str(), &status) == 0 &&
      S_ISREG(model.st_mode) && S_ISREG(status.st_mode) && model.st_mode != status.st_mode)
    (void)chmod(to.c_str(), model.st_mode & 07777);
}

bool removeFile(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

bool discard(const std::string& path) {
  std::error_code error;
  fs::remove_all(path, error);
  errno = error.value();
  return !error;
}

bool syncFileSystem(const std::string& directory) { return onDirectory(directory, syncfs); }

// Some file systems cannot sync a directory. They answer EINVAL, which is no failure here.
bool syncDirectory(const std::string& directory) {
  return onDirectory(directory, fsync) || errno == EINVAL;
}
