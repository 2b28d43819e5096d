#include "tests/installation.h"

#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "engines/bd/utils.h"

namespace fs = std::filesystem;

namespace {

std::string nameIn(const std::string& file) { return file.substr(0, file.rfind(':')); }

std::string contentsIn(const std::string& format, const std::string& file) {
  const std::string end = format == "bd" ? "" : "\r\n", letter = file.substr(file.rfind(':') + 1);
  return letter.empty() ? "" : std::string(1024 - end.size(), letter[0]) + end;
}

// Of an index, by its number.
std::string lastLine(int number) {
  return ";" + std::string(57, static_cast<char>('0' + number)) + "\r\n";
}

std::string labelOf(const std::string& format, const std::string& contents) {
  for (const int number : {1, 2})
    if (contents.size() >= 60 && contents.substr(contents.size() - 60) == lastLine(number))
      return std::to_string(number);
  const std::string letter = contents.substr(0, 1);
  return contents == contentsIn(format, ":" + letter) ? letter : "?";
}

}  // namespace

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& contents) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

void writeTree(const std::string& directory, const Tree& tree) {
  fs::remove_all(directory);
  fs::create_directories(directory);
  for (const auto& [name, contents] : tree) writeFile(directory + "/" + name, contents);
}

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

Tree filesOf(const std::string& format, const std::string& files) {
  Tree tree;
  for (const std::string& file : wordsOf(files, ",")) tree[nameIn(file)] = contentsIn(format, file);
  return tree;
}

Tree mirrorOf(const std::string& format, const std::string& files, int number) {
  Tree tree = filesOf(format, files);
  if (format == "bd") {
    writeTree("packed", std::exchange(tree, {}));
    shell("gzip -nrS .gzip packed");
    for (const std::string& file : wordsOf(files, ","))
      tree["avx/" + nameIn(file) + ".gzip"] = readFile("packed/" + nameIn(file) + ".gzip");
  }
  tree[indexName(format)] = indexOf(format, wordsOf(files, ","), number);
  return tree;
}

std::string indexOf(const std::string& format, const Strings& files, int number) {
  std::string text = format == "bd" ? "" : "[bases]\r\n";
  for (const std::string& file : files) {
    writeFile("digested", contentsIn(format, file));
    if (file.find(':') == std::string::npos)
      text += file + "\r\n";
    else if (format == "bd")
      text += "+ " + md5Of("digested").value() + " " + nameIn(file) + " 1024\n";
    else
      text += "B=" + nameIn(file) + "," + std::string(58, file.back()) + ",1024,\r\n";
  }
  return number > 0 ? text + lastLine(number) : text;
}

std::string indexName(const std::string& format) {
  return format == "bd" ? "versions.dat" : "avp.klb";
}

std::string stateOf(const std::string& format, const std::string& directory) {
  if (!fs::is_directory(directory)) return "nothing";
  const std::string index = indexName(format), journal = "." + index + ".journal/";
  const auto label = [&](const auto& name) {
    return labelOf(format, readFile(directory + "/" + name));
  };
  Words labels;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    const std::string name = entry.path().lexically_relative(directory);
    if (name == journal + "paths")
      labels["journal"] = ":" + label(journal + "before") + label(journal + "coming") +
                          (fs::exists(directory + "/" + journal + "backup") ? "+" : "");
    else if (name.find(journal) == std::string::npos && entry.is_regular_file())
      labels[name == index ? "index" : name] = ":" + label(name);
    else if (fs::is_directory(entry) && fs::is_empty(entry) && name != "Plugins")
      labels[name] = "/";
  }
  Strings state;
  for (const auto& [name, text] : labels) state.push_back(name + text);
  return state.empty() ? "nothing" : joined(state, ",");
}

Outcome outcomeOf(const std::string& command) {
  const std::string line = "export PATH=$PWD/bin:$PATH; exec 2>&1; " + command;
  std::FILE* const program = popen(line.c_str(), "re");
  if (program == nullptr) throw std::runtime_error("cannot run " + command);
  Outcome outcome;
  for (int c; (c = std::fgetc(program)) != EOF;) outcome.output += static_cast<char>(c);
  const int status = pclose(program);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  fs::remove_all("bin");
  return outcome;
}

void standIn(const std::string& command, const std::string& script) {
  writeFile("bin/" + command, "#!/bin/sh\n" + script + "\n");
  fs::permissions("bin/" + command, fs::perms::all);
}

void install(const std::string& format) {
  fs::current_path("/");
  shell("umount " + backup +
        " 2>/dev/null; rm -rf /opt/Quorvex/* /var/Quorvex/*; cd /var/Quorvex &&"
        " mkdir -p /opt/Quorvex/etc /opt/Quorvex/var/run var/log scratch bases");
  fs::current_path("/var/Quorvex/scratch");
  writeFile("/opt/Quorvex/etc/qxav-ver", format == "bd" ? "3\n" : "2\n");
}

void configure(const std::string& lines) {
  std::string paths = "[path]\nBasesPath=" + bases + "\nTempPath=" + temp;
  std::string settings = "[Update]\nTimeOut=5\nNoOfRetries=2\n";
  paths += "\nBackUpPath=" + backup + "\n";
  for (const std::string& line : wordsOf(lines, "\n"))
    (line.find("Path=") != std::string::npos ? paths : settings) += line + "\n";
  writeFile(mainConfig, paths);
  writeFile(updateConfig, settings);
}

int callWatch(int event, const char* text, std::int64_t total, std::int64_t done, void* watch) {
  return (*static_cast<Watch*>(watch))(event, text != nullptr ? text : "", total, done);
}
