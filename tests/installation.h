// Files, the installation at its fixed paths, its bases in short, and the real program.
//
// "a:x,Plugins/b:y" are two files, each 1 KiB of its letter (with the signature line, in
// the format that has one); "a:" is an empty one. An index is written by its number, as
// "index:2", an open journal by the indexes of before (if any) and to come, and "+"
// when it names a backup, as "journal:12+". The formats are "kav" and "bd".
#pragma once

#include "tests/tables.h"

using Tree = std::map<std::string, std::string>;  // path below a directory -> contents

const std::string bases = "/var/Quorvex/bases", temp = "/var/Quorvex/tmp";
const std::string backup = "/var/Quorvex/backup", logFile = "/var/Quorvex/var/log/updates.log";
const std::string lockFile = "/opt/Quorvex/var/run/checkupdate";
const std::string mainConfig = "/opt/Quorvex/etc/qxav.conf";
const std::string updateConfig = "/opt/Quorvex/etc/updates.conf";

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);
// Replaces the directory.
void writeTree(const std::string& directory, const Tree& tree);

// Runs a shell command that must succeed.
void shell(const std::string& command);

// The files as they lie in a database, or with their index on a mirror.
Tree filesOf(const std::string& format, const std::string& files);
Tree mirrorOf(const std::string& format, const std::string& files, int number);

// The text of an index that lists the files; one without a colon is a line as it is.
std::string indexOf(const std::string& format, const Strings& files, int number = 0);
std::string indexName(const std::string& format);

// What a directory holds, in short: "?" for contents of no other kind, "nothing" also
// for a directory that is not there, and directories that are empty, but for Plugins.
std::string stateOf(const std::string& format, const std::string& directory);

// What a command shows on standard output and error, and its end: the exit status, or the
// negative signal.
struct Outcome {
  std::string output;
  int status;
};

// Runs a shell command, for which alone stand-ins are first on PATH.
Outcome outcomeOf(const std::string& command);
void standIn(const std::string& command, const std::string& script);
// The program, in a process group of its own.
const std::string updatenow = "setsid " UPDATENOW;

// Makes a new installation for bases of a format, without any, and a scratch directory,
// the current one.
void install(const std::string& format);

// Writes both configuration files; lines "Key = value" come after the defaults.
void configure(const std::string& lines);

// A callback as a function object: engines get callWatch, and the object as their data.
using Watch =
    std::function<int(int event, const std::string& text, std::int64_t total, std::int64_t done)>;
int callWatch(int event, const char* text, std::int64_t total, std::int64_t done, void* watch);

class OnMachine : public testing::Test {
 public:
  OnMachine() { install("kav"); }
};
