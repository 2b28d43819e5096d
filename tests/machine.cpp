#include "tests/machine.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "update/update_errors.h"

namespace fs = std::filesystem;

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& contents) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

bool exists(const std::string& path) {
  return fs::exists(fs::symlink_status(path));
}

void writeTree(const std::string& directory, const Tree& tree) {
  fs::remove_all(directory);
  fs::create_directories(directory);
  for (const auto& [name, contents] : tree) writeFile(directory + "/" + name, contents);
}

Tree readTree(const std::string& directory) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    const std::string name = entry.path().lexically_relative(directory);
    if (entry.is_regular_file()) tree[name] = readFile(entry.path());
    if (entry.is_directory() && fs::is_empty(entry) && name != "Plugins") tree[name + "/"] = "";
  }
  return tree;
}

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

int openFiles() {
  return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

std::string errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const QX_AVUpdateExceptions& error) {
    return error.detail();
  } catch (const char* message) {
    return message;
  }
  return "";
}

Outcome runUpdatenow(const std::string& before) {
  const std::string command = "export PATH=$PWD/bin:$PATH; exec 2>&1; " + before + " setsid " UPDATENOW;
  std::FILE* const program = popen(command.c_str(), "re");
  Outcome outcome;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, program)) > 0;) outcome.output.append(buffer, n);
  const int status = pclose(program);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return outcome;
}

void standIn(const std::string& command, const std::string& script) {
  writeFile("bin/" + command, "#!/bin/sh\n" + script + "\n");
  fs::permissions("bin/" + command, fs::perms::all);
}

void noStandIns() {
  fs::remove_all("bin");
}

void Installation::install(int version) {
  fs::current_path("/");
  shell("umount " + bases + " " + backup + " 2>/dev/null; rm -rf /opt/Quorvex/* /var/Quorvex/*");
  shell("mkdir -p /opt/Quorvex/etc /opt/Quorvex/var/run /var/Quorvex/var/log /var/Quorvex/scratch " + bases);
  writeFile("/opt/Quorvex/etc/qxav-ver", std::to_string(version) + "\n");
  fs::current_path("/var/Quorvex/scratch");
}

void Installation::configure(const std::string& lines) {
  std::string paths = "[path]\nBasesPath=" + bases + "\nTempPath=" + temp + "\nBackUpPath=" + backup + "\n";
  std::string settings = "[Update]\nTimeOut=5\nNoOfRetries=2\n";
  for (const std::string& line : wordsOf(lines, '\n'))
    (line.find("Path=") != std::string::npos ? paths : settings) += line + "\n";
  writeFile(mainConfig, paths);
  writeFile(updateConfig, settings);
}
