// Open files, questions to the file system, and what makes it durable.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// fopen() with a descriptor that no command inherits. Null when it fails, and for anything
// but a regular file or a device such as /dev/null: a pipe could hold the program for ever.
// The modes are "r", "w" and "a".
[[nodiscard]] File openFile(const std::string& path, const char* mode = "r");

bool fileExists(const std::string& path);
bool isReadable(const std::string& path);

// Whether there is an entry of that name, also a link that leads nowhere. True also when
// that cannot be found out.
bool isThere(const std::string& path);

// What the entry itself is. A link is none of these but a link.
bool isRegularFile(const std::string& path);
bool isSymbolicLink(const std::string& path);
bool isDirectory(const std::string& path);

// Whether a pipe is there, also behind a link.
bool isPipe(const std::string& path);

// Whether two paths lead to one file.
bool isSameFile(const std::string& a, const std::string& b);

// False for a missing file and for one without contents.
bool hasContents(const std::string& path);

// Compares the bytes of two files.
enum class Comparison { Same, Different, Unreadable };
[[nodiscard]] Comparison compared(const std::string& a, const std::string& b);

// Whether two files can be read and have the same bytes.
[[nodiscard]] bool hasSameContents(const std::string& a, const std::string& b);

// Whether all of a file can be read.
[[nodiscard]] bool canBeRead(const std::string& path);

// Whether two entries are the same: two files with the same bytes, two links to the same
// target, or two entries of the same other kind.
[[nodiscard]] bool isSameEntry(const std::string& a, const std::string& b);

// Gives a file the permissions of another one, if it can. Links and the like stay as they
// are.
void takeMode(const std::string& from, const std::string& to);

// Removes an entry that is no directory. True also when there was none.
bool removeFile(const std::string& path);

// Removes an entry, a directory with all that is in it. Links are not followed. True also
// when there was none; errno tells why not.
bool discard(const std::string& path);

// Brings everything that was written to the file system of a directory onto the disk.
// Returns whether that worked.
[[nodiscard]] bool syncFileSystem(const std::string& directory);

// The same for the names in the directory alone.
[[nodiscard]] bool syncDirectory(const std::string& directory);
