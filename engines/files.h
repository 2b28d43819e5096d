// Questions to the file system that both engines ask.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>

inline bool fileExists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// False for a missing file and for one without contents.
inline bool hasContents(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

inline bool isSymbolicLink(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}
