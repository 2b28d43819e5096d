// Files, an installation at its fixed paths, and the real program run on it.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

using Tree = std::map<std::string, std::string>;  // path below a directory -> contents

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents, int mode = 0644);
Tree readTree(const std::string& directory);
void writeTree(const std::string& directory, const Tree& tree);
bool exists(const std::string& path);

// Runs a shell command that must succeed.
void shell(const std::string& command);

// The progress line of the console: so many columns filled, then `rest`.
std::string barLine(std::size_t columns, const std::string& rest);

struct Outcome {
  std::string output;  // standard output and error
  int status = -1;     // exit status; -1 when killed by a signal
};

// updatenow, running in a process group of its own.
class Program {
 public:
  // `environment` holds NAME=VALUE entries that replace the inherited ones;
  // `wrapper` are words put in front of the command.
  explicit Program(const std::vector<std::string>& environment = {},
                   const std::vector<std::string>& wrapper = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  Outcome wait();

 private:
  pid_t pid_;
  int output_;
};

Outcome runUpdatenow(const std::vector<std::string>& environment = {});

// An installation, new for each test, in a scratch directory for the rest.
class Installation : public testing::Test {
 protected:
  Installation();
  ~Installation() override;

  // Writes both configuration files, the named keys in place of the defaults;
  // an empty value leaves the key out.
  void configure(const std::map<std::string, std::string>& values);

  // Writes a script that stands in for a command, and returns the environment
  // entry that puts it first on PATH.
  std::string standIn(const std::string& command, const std::string& script);

  // The update log, process ids as PID.
  std::string log() const;

  const std::string scratch;
  const std::string bases = "/var/Quorvex/bases";
  const std::string temp = "/var/Quorvex/tmp";
  const std::string backup = "/var/Quorvex/backup";
  const std::string lockFile = "/opt/Quorvex/var/run/checkupdate";
};
