#include "engines/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <system_error>

File openToRead(const std::string& path) {
  return File(std::fopen(path.c_str(), "re"));
}

bool fileExists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

bool isRegularFile(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool hasContents(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

bool hasSameContents(const std::string& a, const std::string& b) {
  const File first = openToRead(a);
  const File second = openToRead(b);
  if (first == nullptr || second == nullptr) return false;
  char ofFirst[16 * 1024];
  char ofSecond[sizeof ofFirst];
  std::size_t length = 0;
  do {
    length = std::fread(ofFirst, 1, sizeof ofFirst, first.get());
    if (std::fread(ofSecond, 1, sizeof ofSecond, second.get()) != length ||
        std::memcmp(ofFirst, ofSecond, length) != 0)
      return false;
  } while (length > 0);
  return std::ferror(first.get()) == 0 && std::ferror(second.get()) == 0;
}

bool isSymbolicLink(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool isEmptyDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error) && std::filesystem::is_empty(path, error);
}

bool isMountPoint(const std::string& path) {
  struct statx status = {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

namespace {

// What the call says of the directory; false when it cannot be opened.
bool withDirectory(const std::string& directory, int (*call)(int)) {
  const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool done = call(descriptor) == 0;
  close(descriptor);
  return done;
}

}  // namespace

bool syncFileSystem(const std::string& directory) {
  return withDirectory(directory, syncfs);
}

void syncDirectory(const std::string& directory) {
  withDirectory(directory, fsync);
}
