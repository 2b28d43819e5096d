// The plain functions of MD5 are the short ones.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "tests/bases.h"

#include <openssl/md5.h>

#include <cstdio>
#include <filesystem>

namespace {

constexpr std::size_t kBytes = 1024, kSignature = 58;

std::string nameIn(const std::string& file) {
  return file.substr(0, file.find(':'));
}

std::string contentsIn(const std::string& format, const std::string& file) {
  const std::string letter = file.substr(file.find(':') + 1);
  if (letter.empty()) return "";
  if (format == "bd") return std::string(kBytes, letter[0]);
  return std::string(kBytes - 2, letter[0]) + "\r\n";
}

std::string digestOf(const std::string& contents) {
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5(reinterpret_cast<const unsigned char*>(contents.data()), contents.size(), digest);
  std::string text;
  char digits[3];
  for (const unsigned char byte : digest) text.append(digits, std::sprintf(digits, "%02x", byte));
  return text;
}

// An index tells its number in its last line.
std::string lastLine(int number) {
  const std::string text = std::to_string(number);
  return ";" + std::string(kSignature - 1 - text.size(), ' ') + text + "\r\n";
}

}  // namespace

std::string indexName(const std::string& format) {
  return format == "bd" ? "versions.dat" : "avp.klb";
}

std::string indexOf(const std::string& format, const Strings& files, int number) {
  std::string text = format == "bd" ? "" : "[bases]\r\n";
  for (const std::string& file : files)
    if (file.find(':') == std::string::npos)
      text += file + "\r\n";
    else if (format == "bd")
      text += "+ " + digestOf(contentsIn(format, file)) + " " + nameIn(file) + " 1024\n";
    else
      text += "B=" + nameIn(file) + "," + std::string(kSignature, file.back()) + ",1024,\r\n";
  return number > 0 ? text + lastLine(number) : text;
}

Tree filesOf(const std::string& format, const std::string& files) {
  Tree tree;
  for (const std::string& file : wordsOf(files, ',')) tree[nameIn(file)] = contentsIn(format, file);
  return tree;
}

Tree mirrorOf(const std::string& format, const std::string& files, int number) {
  Tree tree = filesOf(format, files);
  if (format == "bd") {
    writeTree("packed/avx", tree);
    shell("gzip -nrS .gzip packed");
    tree = readTree("packed");
  }
  tree[indexName(format)] = indexOf(format, wordsOf(files, ','), number);
  return tree;
}

std::string mirrorName(const std::string& format, const std::string& file) {
  if (file == "index") return indexName(format);
  return format == "bd" ? "avx/" + file + ".gzip" : file;
}

std::string stateOf(const std::string& format, const std::string& directory) {
  const std::string index = indexName(format);
  Words labels;
  if (std::filesystem::is_directory(directory))
    for (const auto& [name, contents] : readTree(directory)) {
      std::string label = contents.substr(0, 1);
      if (contents != contentsIn(format, ":" + label)) label = "?";
      if (const std::size_t last = contents.rfind(";  "); last != std::string::npos)
        if (const int number = std::stoi(contents.substr(last + 1)); contents.substr(last) == lastLine(number))
          label = std::to_string(number);
      labels[name == index ? "index" : name == "." + index + ".waiting" ? "waiting" : name] = label;
    }
  std::string state;
  for (const auto& [name, label] : labels)
    state += (state.empty() ? "" : ",") + name + (name.back() == '/' ? "" : ":" + label);
  return state.empty() ? "nothing" : state;
}
