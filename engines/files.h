// Questions to the file system that both engines ask.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

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

// True for a directory that can be read and holds nothing.
inline bool isEmptyDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error) && std::filesystem::is_empty(path, error);
}
