#include "tests/sandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
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

Strings wordsOf(const std::string& text, char between) {
  std::istringstream stream(text);
  Strings words;
  for (std::string word; std::getline(stream, word, between);) words.push_back(word);
  return words;
}

namespace {

std::string expand(const std::string& cell, const Tree& words) {
  const std::size_t at = cell.find_first_of("\\{");
  if (at == std::string::npos) return cell;
  std::string text;
  std::size_t length = 2;  // of what stands in the cell for the text
  if (cell[at] == '\\' && cell.at(at + 1) == 'x') {
    length = 4;
    text = static_cast<char>(std::stoi(cell.substr(at + 2, 2), nullptr, 16));
  } else if (cell[at] == '\\') {
    const Tree escapes{{"n", "\n"}, {"r", "\r"}, {"t", "\t"}, {"\\", "\\"}};
    text = escapes.at(cell.substr(at + 1, 1));
  } else {
    const std::string word = cell.substr(at + 1, cell.find('}', at) - at - 1);
    const std::size_t star = word.find('*');
    length = word.size() + 2;
    if (star == std::string::npos)
      text = word.empty() ? "" : words.at(word);
    else
      for (int times = std::stoi(word); times > 0; --times) text += expand(word.substr(star + 1), words);
  }
  return cell.substr(0, at) + text + expand(cell.substr(at + length), words);
}

Strings cellsOf(std::string line) {
  Strings cells;
  for (std::size_t at = 0; (at = line.find(" | ")) != std::string::npos; line.erase(0, at + 3))
    cells.push_back(line.substr(0, at));
  cells.push_back(line);
  return cells;
}

}  // namespace

void eachCase(const std::string& name, const std::function<void(const Case&)>& test, Tree words) {
  const std::string path = SOURCE_DIR "/tests/cases/" + name + ".txt";
  std::ifstream file(path);
  Strings columns;
  int rows = 0, number = 0;
  for (std::string line; std::getline(file, line);) {
    const testing::ScopedTrace trace(path.c_str(), ++number, line);
    const std::size_t defines = line.find(" := ");
    if (columns.empty() && line.find(" | ") != std::string::npos) {
      columns = cellsOf(line.substr(2));
    } else if (defines != std::string::npos) {
      words[line.substr(0, defines)] = expand(line.substr(defines + 4), words);
    } else if (!line.empty() && line[0] != '#') {
      ++rows;
      const Strings texts = cellsOf(line);
      ASSERT_EQ(texts.size(), columns.size()) << "cells";
      Case cells;
      try {
        for (std::size_t i = 0; i < columns.size(); ++i) cells[columns[i]] = expand(texts[i], words);
        test(cells);
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
  }
  ASSERT_GT(rows, 0) << "no cases in " << path;
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
  install(2);
}

Installation::~Installation() {
  fs::current_path("/");
  std::error_code ignored;  // a proxy that is just ending may still write there
  fs::remove_all(scratch, ignored);
}

void Installation::install(int version) {
  shell("rm -rf /opt/Quorvex/* /var/Quorvex/*");
  shell("mkdir -p /opt/Quorvex/etc /opt/Quorvex/var/run /var/Quorvex/var/log " + bases);
  writeFile("/opt/Quorvex/etc/qxav-ver", std::to_string(version) + "\n");
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
