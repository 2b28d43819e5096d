#include "tests/sandbox.h"

#include <fcntl.h>
#include <sys/stat.h>
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

void writeFile(const std::string& path, const std::string& contents, int mode) {
  std::ofstream(path, std::ios::binary) << contents;
  chmod(path.c_str(), static_cast<mode_t>(mode));
}

Tree readTree(const std::string& directory) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(directory))
    if (entry.is_regular_file())
      tree[fs::relative(entry.path(), directory)] = readFile(entry.path());
  return tree;
}

void writeTree(const std::string& directory, const Tree& tree) {
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

Program::Program(const std::vector<std::string>& environment,
                 const std::vector<std::string>& wrapper) {
  // Everything is made before the fork: the mirrors' threads may hold any lock.
  std::vector<std::string> words{"env"};
  words.insert(words.end(), environment.begin(), environment.end());
  words.insert(words.end(), wrapper.begin(), wrapper.end());
  words.emplace_back(UPDATENOW);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  pid_ = fork();
  if (pid_ == 0) {
    setpgid(0, 0);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    execv("/usr/bin/env", arguments.data());
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
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = 0;
  if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
  return outcome;
}

Outcome runUpdatenow(const std::vector<std::string>& environment) {
  return Program(environment).wait();
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

void Installation::configure(const std::map<std::string, std::string>& values) {
  std::map<std::string, std::string> all{{"BasesPath", bases},
                                         {"TempPath", temp},
                                         {"BackUpPath", backup},
                                         {"TimeOut", "5"},
                                         {"NoOfRetries", "2"}};
  for (const auto& [key, value] : values) all[key] = value;
  std::string paths = "[path]\n";
  std::string update = "[Update]\n";
  for (const auto& [key, value] : all) {
    if (value.empty()) continue;
    const bool isPath = key.size() > 4 && key.substr(key.size() - 4) == "Path";
    (isPath ? paths : update) += key + " = " + value + "\n";
  }
  writeFile("/opt/Quorvex/etc/qxav.conf", paths);
  writeFile("/opt/Quorvex/etc/updates.conf", update);
}

std::string Installation::standIn(const std::string& command, const std::string& script) {
  fs::create_directories(scratch + "/bin");
  writeFile(scratch + "/bin/" + command, "#!/bin/sh\n" + script + "\n", 0755);
  return "PATH=" + scratch + "/bin:" + std::getenv("PATH");
}

std::string Installation::log() const {
  std::string text = readFile("/var/Quorvex/var/log/updates.log");
  const std::string owner = "updatenow:";
  for (std::size_t at = 0; (at = text.find(owner, at)) != std::string::npos; at += owner.size())
    text.replace(at + owner.size(), text.find('\n', at) - at - owner.size(), "PID");
  return text;
}
