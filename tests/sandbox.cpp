#include "tests/sandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& contents, unsigned mode) {
  std::ofstream(path, std::ios::binary) << contents;
  fs::permissions(path, static_cast<fs::perms>(mode));
}

Tree readTree(const std::string& directory) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(directory))
    if (entry.is_regular_file()) tree[fs::relative(entry.path(), directory)] = readFile(entry.path());
  return tree;
}

void writeTree(const std::string& directory, const Tree& tree) {
  fs::remove_all(directory);
  fs::create_directories(directory);
  for (const auto& [name, contents] : tree) {
    fs::create_directories(fs::path(directory + "/" + name).parent_path());
    writeFile(directory + "/" + name, contents);
  }
}

bool exists(const std::string& path) {
  return fs::exists(fs::symlink_status(path));
}

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

std::string barLine(std::size_t columns, const std::string& rest) {
  return "\r[" + std::string(columns, '=') + std::string(75 - columns, ' ') + "]" + rest;
}

Program::Program(const Strings& words) {
  // All is made before the fork: the mirrors' threads may hold any lock.
  Strings command = words;
  command.insert(command.begin(), "env");
  command.emplace_back(UPDATENOW);
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  pid_ = fork();
  if (pid_ == 0) {
    setpgid(0, 0);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    execvp("env", arguments.data());
    _exit(127);
  }
  setpgid(pid_, pid_);
  close(ends[1]);
  output_ = ends[0];
}

Program::~Program() {
  if (pid_ <= 0) return;
  kill(-pid_, SIGKILL);
  wait();
}

Outcome Program::wait() {
  Outcome outcome;
  char buffer[4096];
  for (ssize_t n; (n = read(output_, buffer, sizeof buffer)) > 0;)
    outcome.output.append(buffer, static_cast<std::size_t>(n));
  close(output_);
  waitpid(pid_, &outcome.status, 0);
  pid_ = 0;
  outcome.status = WIFEXITED(outcome.status) ? WEXITSTATUS(outcome.status) : -WTERMSIG(outcome.status);
  return outcome;
}

Outcome runUpdatenow(const Strings& words) {
  return Program(words).wait();
}

Installation::Installation()
    : scratch([] {
        char path[] = "/tmp/updatenow-test.XXXXXX";
        return std::string(mkdtemp(path));
      }()) {
  fs::current_path(scratch);
  shell("rm -rf /opt/Quorvex/* /var/Quorvex/*");
  shell("mkdir -p /opt/Quorvex/etc /opt/Quorvex/var/run /var/Quorvex/var/log " + bases);
  writeFile("/opt/Quorvex/etc/qxav-ver", "2\n");
}

Installation::~Installation() {
  fs::current_path("/");
  fs::remove_all(scratch);
}

void Installation::configure(const std::string& lines) {
  const std::string paths = "[path]\nBasesPath=" + bases + "\nTempPath=" + temp + "\nBackUpPath=" + backup + "\n";
  // Each file holds both sections; a key in the wrong one is nobody's.
  const std::string text = paths + lines + "\n[Update]\nTimeOut=5\nNoOfRetries=2\n" + lines;
  for (const char* file : {"qxav.conf", "updates.conf"}) writeFile(std::string("/opt/Quorvex/etc/") + file, text);
}

std::string Installation::standIn(const std::string& command, const std::string& script) {
  fs::create_directories("bin");
  writeFile("bin/" + command, "#!/bin/sh\n" + script + "\n", 0755);
  return "PATH=" + scratch + "/bin:" + std::getenv("PATH");
}
