// The test program. scripts/private-root runs it: the installation's fixed paths are its own.
// With the name of a function and cells it calls that function.

#include "tests/functions.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

std::map<std::string, Function::Body>& functions() {
  static std::map<std::string, Function::Body> all;
  return all;
}

auto openFiles() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

}  // namespace

Function::Function(const std::string& name, const Body& body) { functions()[name] = body; }

Strings wordsOf(const std::string& text, char between) {
  std::istringstream stream(text);
  Strings words;
  for (std::string word; std::getline(stream, word, between);) words.push_back(word);
  return words;
}

std::string joined(const Strings& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
  return text;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

OnMachine::OnMachine() {
  shell("cd /opt/Quorvex && mkdir -p etc var/run /var/Quorvex/var/log /var/Quorvex/scratch");
  std::filesystem::current_path("/var/Quorvex/scratch");
  writeFile("/opt/Quorvex/etc/qxav-ver", "2\n");
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (std::getenv("UPDATENOW_PRIVATE") == nullptr) return 1;
  if (argc == 1) return RUN_ALL_TESTS();
  const auto open = openFiles();
  std::cout << functions().at(argv[1])({argv + 2, argv + argc}) << std::flush;
  return openFiles() == open ? 0 : 1;
}
