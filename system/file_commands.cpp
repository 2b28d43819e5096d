#include "system/file_commands.h"

#include "system/command.h"
#include "system/files.h"
#include "system/shell_word.h"

int copyFile(const std::string& from, const std::string& to) {
  // When one of the two is a pipe, cp would wait for the other end of it.
  if (isPipe(from)) return 1;
  if (isPipe(to)) removeFile(to);
  return runInstallation("cp -pf " + shellWord(from) + " " + shellWord(to) + kQuietly);
}

int copyEntry(const std::string& from, const std::string& to) {
  if (isRegularFile(from) && !isSymbolicLink(to)) return copyFile(from, to);
  removeFile(to);
  return runInstallation("cp -pRPf " + shellWord(from) + " " + shellWord(to) + kQuietly);
}

int copyTree(const std::string& from, const std::string& to) {
  const std::string source = isDirectory(to) || isSymbolicLink(from) ? from + "/." : from;
  return runInstallation("cp -prf " + shellWord(source) + " " + shellWord(to) + kQuietly);
}

int removeTree(const std::string& path) {
  return runInstallation("rm -rf " + shellWord(path) + kQuietly);
}
