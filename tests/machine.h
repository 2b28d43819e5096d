// Files, an installation at its fixed paths, and the real program run on it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "tests/tables.h"

using Tree = std::map<std::string, std::string>;  // path below a directory -> contents

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);
bool exists(const std::string& path);

// Replaces the directory.
void writeTree(const std::string& directory, const Tree& tree);
// Empty directories but Plugins end in "/".
Tree readTree(const std::string& directory);

// Runs a shell command that must succeed.
void shell(const std::string& command);

// Descriptors that this program has open.
int openFiles();

// What the action throws, as text.
std::string errorOf(const std::function<void()>& action);

// Standard output and error of a program, and its end: the exit status, or the
// negative signal.
struct Outcome {
  std::string output;
  int status;
};

// Runs the program in a process group of its own, by a shell command that begins with
// `before`. Stand-ins are first on its PATH.
Outcome runUpdatenow(const std::string& before = "exec");

// Lets a script stand in for a command, until noStandIns().
void standIn(const std::string& command, const std::string& script);
void noStandIns();

// An installation at its fixed paths and a scratch directory, the current one: new for
// each test.
class Installation : public testing::Test {
 protected:
  Installation() { install(2); }

  // Makes an empty one in place of the one that is there; the version tells the format
  // of its bases: 2 Kaspersky, 3 BitDefender.
  static void install(int version);
  // Writes both configuration files; lines "Key = value" come after the defaults.
  static void configure(const std::string& lines);
};

const std::string bases = "/var/Quorvex/bases", temp = "/var/Quorvex/tmp", backup = "/var/Quorvex/backup";
const std::string lockFile = "/opt/Quorvex/var/run/checkupdate", logFile = "/var/Quorvex/var/log/updates.log";
const std::string mainConfig = "/opt/Quorvex/etc/qxav.conf", updateConfig = "/opt/Quorvex/etc/updates.conf";
