// Open files, questions to the file system, and what makes it durable.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// fopen() with a descriptor that no command inherits; null when it fails.
[[nodiscard]] File openFile(const std::string& path, const char* mode = "r");

bool fileExists(const std::string& path);
bool isReadable(const std::string& path);

// A file that is neither a directory nor a link.
bool isRegularFile(const std::string& path);
bool isSymbolicLink(const std::string& path);

// Whether another file system, or a part of one, is mounted there.
bool isMountPoint(const std::string& path);

// True for a directory that can be read and holds nothing.
bool isEmptyDirectory(const std::string& path);

// False for a missing file and for one without contents.
bool hasContents(const std::string& path);

// Whether two files can be read and have the same bytes.
[[nodiscard]] bool hasSameContents(const std::string& a, const std::string& b);

// Brings everything that was written to the file system of a directory onto the
// disk. Whether that worked.
[[nodiscard]] bool syncFileSystem(const std::string& directory);

// The same for the names in the directory alone.
void syncDirectory(const std::string& directory);
