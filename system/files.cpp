#include "system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

// Whether the call succeeds on the directory.
bool onDirectory(const std::string& directory, int (*call)(int)) {
  const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool done = call(descriptor) == 0;
  close(descriptor);
  return done;
}

fs::file_type typeOf(const std::string& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type();
}

}  // namespace

File openFile(const std::string& path, const char* mode) {
  return File(std::fopen(path.c_str(), (mode + std::string("e")).c_str()));
}

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

bool isReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

bool isRegularFile(const std::string& path) { return typeOf(path) == fs::file_type::regular; }

bool isSymbolicLink(const std::string& path) { return typeOf(path) == fs::file_type::symlink; }

bool isMountPoint(const std::string& path) {
  struct statx status = {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

bool isEmptyDirectory(const std::string& path) {
  std::error_code error;
  return fs::is_directory(path, error) && fs::is_empty(path, error);
}

bool hasContents(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

bool hasSameContents(const std::string& a, const std::string& b) {
  const File first = openFile(a);
  const File second = openFile(b);
  if (first == nullptr || second == nullptr) return false;
  char ofFirst[16 * 1024];
  char ofSecond[sizeof ofFirst];
  for (std::size_t length = 1; length > 0;) {
    length = std::fread(ofFirst, 1, sizeof ofFirst, first.get());
    if (std::fread(ofSecond, 1, sizeof ofSecond, second.get()) != length ||
        std::memcmp(ofFirst, ofSecond, length) != 0)
      return false;
  }
  return std::ferror(first.get()) == 0 && std::ferror(second.get()) == 0;
}

bool syncFileSystem(const std::string& directory) { return onDirectory(directory, syncfs); }

void syncDirectory(const std::string& directory) { onDirectory(directory, fsync); }
