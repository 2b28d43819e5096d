// Copies and removes files by shell commands, which print nothing. Each function returns
// what system() returns: a negative number when the command could not be run, 0 when it
// succeeded, otherwise its status. Signals do not interrupt the commands (see command.h).
#pragma once

#include <string>

// cp -pf: copies the file `from` over the file `to`. If `to` is a pipe, a file replaces it.
// If `from` is a pipe, the copy fails.
[[nodiscard]] int copyFile(const std::string& from, const std::string& to);

// Like copyFile(), but the copy of a link is a link, and the copy of a pipe is a pipe.
int copyEntry(const std::string& from, const std::string& to);

// cp -prf: copies the directory `from` to `to`, which should not exist. If `to` is still a
// directory, for instance a mount point, copies the contents of `from` into it. If `from` is
// a symbolic link, copies the directory to which it leads.
int copyTree(const std::string& from, const std::string& to);

// rm -rf
int removeTree(const std::string& path);
