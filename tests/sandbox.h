// Files, an installation at its fixed paths, and the real program run on it.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using Tree = std::map<std::string, std::string>;  // path below a directory -> contents

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents, unsigned mode = 0644);
Tree readTree(const std::string& directory);
// Replaces the directory.
void writeTree(const std::string& directory, const Tree& tree);
bool exists(const std::string& path);

// Runs a shell command that must succeed.
void shell(const std::string& command);

// The words of a text, which a character parts.
Strings wordsOf(const std::string& text, char between = ' ');

// A row of a table of cases: the names of the columns -> its cells.
using Case = std::map<std::string, std::string>;

// Calls the test with every row of tests/cases/NAME.txt and shows the row when
// it fails. The first comment "# A | B" names the columns. In a cell \n, \r, \t,
// \\ and \xHH are escapes, {3*ab} is "ababab", {} nothing, and {WORD} one of
// `words` or of the file's own, which lines "WORD := TEXT" define. A file without
// rows and a row with too many or too few cells are failures.
void eachCase(const std::string& name, const std::function<void(const Case&)>& test, Tree words = {});

// Standard output and error of a program, and its end: the exit status, or the
// negative signal.
struct Outcome {
  std::string output;
  int status;
};

// updatenow, running in a process group of its own.
class Program {
 public:
  // `words` go in front of the command: NAME=VALUE pairs, another command.
  explicit Program(const Strings& words = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  Outcome wait();

 private:
  pid_t pid_;
  int output_;
};

Outcome runUpdatenow(const Strings& words = {});

// An installation and a scratch directory, the current one, new for each test.
class Installation : public testing::Test {
 protected:
  Installation();
  ~Installation() override;

  // Makes an empty installation in place of the one that is there; the version
  // tells the format of its bases: 2 Kaspersky, 3 BitDefender.
  void install(int version);
  // Writes the configuration; lines of "Key = value" replace the defaults.
  void configure(const std::string& lines);
  // Writes a script that stands in for a command first on PATH, and returns the
  // environment entry that puts it there.
  std::string standIn(const std::string& command, const std::string& script);

  const std::string scratch;
  const std::string bases = "/var/Quorvex/bases";
  const std::string temp = "/var/Quorvex/tmp";
  const std::string backup = "/var/Quorvex/backup";
  const std::string lockFile = "/opt/Quorvex/var/run/checkupdate";
  const std::string logFile = "/var/Quorvex/var/log/updates.log";
};
