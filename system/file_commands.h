// Copying and removing by the shell's commands, quietly. Each returns what system()
// does: negative when the command could not be run, 0 when it succeeded, else its
// status. None is interrupted half-way (see command.h).
#pragma once

#include <string>

// cp -pf: replaces the file `to`, also where that is a pipe. A pipe `from` fails.
[[nodiscard]] int copyFile(const std::string& from, const std::string& to);

// The same, but a link or a pipe is copied as what it is.
int copyEntry(const std::string& from, const std::string& to);

// cp -prf: makes `to`, which should not exist, a copy of the directory `from`. Into a
// directory that is still there, a mount point for instance, the contents are copied. A
// symbolic link `from` stands for the directory that it leads to.
int copyTree(const std::string& from, const std::string& to);

// rm -rf
int removeTree(const std::string& path);
