// Opens files, answers questions about the file system, removes entries, and syncs.
//
// A call may fail for a moment. So isThere(), the types of an entry and the comparisons try
// twice: when they fail, asking them once more is no use.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Like fopen(), with the modes "r", "w" and "a". Commands do not inherit the descriptor.
// Returns null when it fails. It also fails for everything except a regular file and a
// character device such as /dev/null: a pipe could block the program for ever.
[[nodiscard]] File openFile(const std::string& path, const char* mode = "r");

bool fileExists(const std::string& path);
bool isReadable(const std::string& path);

// Whether there is an entry of that name. A link that leads nowhere is also an entry. Returns
// true also when the answer cannot be found out.
bool isThere(const std::string& path);

// The type of the entry itself. A link is only a link, whatever it leads to.
bool isRegularFile(const std::string& path);
bool isSymbolicLink(const std::string& path);
bool isDirectory(const std::string& path);

// Whether the entry is a pipe or a link that leads to a pipe.
bool isPipe(const std::string& path);

// Whether the file exists and is not empty.
bool hasContents(const std::string& path);

// Compares the bytes of two files.
enum class Comparison { Same, Different, Unreadable };
[[nodiscard]] Comparison compared(const std::string& a, const std::string& b);

// Whether two files can be read and have the same bytes.
[[nodiscard]] inline bool hasSameContents(const std::string& a, const std::string& b) {
  return compared(a, b) == Comparison::Same;
}

// Whether a file can be read to its end.
[[nodiscard]] inline bool canBeRead(const std::string& path) { return hasSameContents(path, path); }

// Whether two entries are the same: two files with the same bytes, two links to the same
// target, or two entries of the same other kind.
[[nodiscard]] bool isSameEntry(const std::string& a, const std::string& b);

// Gives the file `to` the permissions of the file `from`. Does nothing when one of them is
// not a regular file. Ignores a failure.
void takeMode(const std::string& from, const std::string& to);

// Removes an entry that is not a directory. Returns true also when there was no such entry.
bool removeFile(const std::string& path);

// Removes an entry. A directory goes with everything in it. Links are not followed. Returns
// true also when there was no such entry. After a failure errno tells the reason.
bool discard(const std::string& path);

// Writes all data of the file system in which the directory lies to the disk. Returns
// whether that worked. After a failure errno tells the reason.
[[nodiscard]] bool syncFileSystem(const std::string& directory);

// Writes only the names in the directory to the disk. Returns whether that worked, and true
// also for a file system that cannot do it.
[[nodiscard]] bool syncDirectory(const std::string& directory);
