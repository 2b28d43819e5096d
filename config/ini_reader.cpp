#include "config/ini_reader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>

#include "system/files.h"

namespace {

constexpr std::size_t kLineMax = 1024;  // characters of a line and of a symbol's name
constexpr std::size_t kTabWidth = 8;
constexpr int kControlZ = 26;

void removeTrailingSpace(std::string& text) {
  text.resize(text.find_last_not_of(" \t\n\v\f\r") + 1);  // an empty text when nothing is found
}

std::string_view skipBlanks(std::string_view text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

// Reads the next line, at most `room` characters of it. The next call reads the rest of a
// longer line. Tabs become blanks. Returns false at the end of the file.
bool readLine(std::FILE* file, std::size_t room, std::string& line) {
  line.clear();
  int c = std::fgetc(file);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n' && c != kControlZ; c = std::fgetc(file)) {
    if (c == '\t')
      line.resize(std::min((line.size() / kTabWidth + 1) * kTabWidth, room), ' ');
    else if (c != '\r')
      line.push_back(static_cast<char>(c));
    if (line.size() >= room) break;
  }
  // Symbols hold texts without NUL, so the line ends at its first NUL.
  line.resize(std::min(line.find('\0'), line.size()));
  removeTrailingSpace(line);
  return true;
}

// Appends the lines on which a quoted value continues. The next line replaces each '-' at
// the end of the line.
void joinContinuations(std::FILE* file, std::string& line) {
  while (line.size() < kLineMax && !line.empty() && line.back() == '-') {
    std::string next;
    if (!readLine(file, kLineMax - (line.size() - 1), next)) return;
    line.pop_back();
    line += next;
  }
}

// Returns the length of a quoted value with its closing quote. Without that quote the value
// is the whole text. A backslash makes the character behind it an ordinary one.
std::size_t quotedLength(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') return i + 1;
    if (text[i] == '\\') ++i;
  }
  return text.size();
}

// Returns the value of a key line, with its quotes. Reads on in the file when the value
// continues on the next line.
std::string valueOf(std::FILE* file, std::string& line, std::size_t equals) {
  std::string value(skipBlanks(std::string_view(line).substr(equals + 1)));
  if (!value.empty() && value.front() == '"') {
    joinContinuations(file, line);
    value = skipBlanks(std::string_view(line).substr(equals + 1));
    value.resize(quotedLength(value));
  } else {
    value.resize(std::min(value.find_first_of(";#"), value.size()));
  }
  removeTrailingSpace(value);
  return value;
}

// Returns the value of the environment variable whose name, in upper case, equals `name`.
// The last of several such variables counts. Without one the value is empty.
std::string_view environmentValue(std::string_view name) {
  const auto isUpperOf = [](char upper, char c) {
    return upper == static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  };
  std::string_view value;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    if (text.find('=') == name.size() &&
        std::equal(name.begin(), name.end(), text.begin(), isUpperOf))
      value = text.substr(name.size() + 1);
  }
  return value;
}

std::string withEnvironment(std::string_view value) {
  std::string result;
  for (;;) {
    const std::size_t start = value.find("$(");
    const std::size_t end = value.find(')', start);  // npos when there is no start
    if (end == std::string_view::npos) return result.append(value);
    result += value.substr(0, start);
    result += environmentValue(value.substr(start + 2, end - start - 2));
    value.remove_prefix(end + 1);
  }
}

// Resolves the escapes of a value that begins with a quote, and removes its first and its
// last character. The last character is the closing quote, unless the file lacks that quote.
std::string withoutQuotes(std::string_view value) {
  if (value.empty() || value.front() != '"') return std::string(value);
  std::string plain;
  for (std::size_t i = 1; i < value.size(); ++i) {
    const bool isEscaped = value[i] == '\\' && i + 1 < value.size();
    if (isEscaped) ++i;
    plain.push_back(isEscaped && value[i] == 'n' ? '\n' : value[i]);
  }
  if (!plain.empty()) plain.pop_back();
  return plain;
}

// Returns the path at which the file is found, or an empty string. The header describes
// the search.
std::string locate(const std::string& name) {
  const char* const path = std::getenv("PATH");
  if (path != nullptr && fileExists(name)) return name;
  std::istringstream directories(path != nullptr ? path : "PATH");
  for (std::string directory; std::getline(directories, directory, ':');)
    if (!directory.empty() && fileExists(directory + "/" + name)) return directory + "/" + name;
  return std::string();
}

void store(SymbolTable* table, const std::string& name, const std::string& value) {
  sym_assume_symbol_(table, name.c_str(), value.c_str(), nullptr, 0);
}

void storeFileSymbols(SymbolTable* table, const char* file, const std::string& path) {
  struct stat status = {};
  struct tm local = {};
  long date = 0;
  long time = 0;
  if (stat(path.c_str(), &status) == 0 && localtime_r(&status.st_mtime, &local) != nullptr) {
    date = (local.tm_year + 1900L) * 10000 + (local.tm_mon + 1L) * 100 + local.tm_mday;
    time = local.tm_hour * 1000000L + local.tm_min * 10000L + local.tm_sec * 100L;
  }
  store(table, "filename", file);
  store(table, "filedate", std::to_string(date));
  store(table, "filetime", std::to_string(time));
}

// Returns the name of the section that the line opens. Returns nothing for other lines.
std::optional<std::string> sectionOf(std::string_view line) {
  if (line == "[]") return std::string();
  if (line.size() < 2 || line[0] != '[' || line[1] == ']') return std::nullopt;
  return std::string(line.substr(1, line.find(']') - 1));
}

void readEntries(std::FILE* file, SymbolTable* table) {
  std::optional<std::string> section;
  std::string line;
  while (readLine(file, kLineMax, line)) {
    const std::string_view text = skipBlanks(line);
    if (text.empty() || text[0] == ';' || text[0] == '#' || text[0] == '!') continue;

    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
      if (std::optional<std::string> opened = sectionOf(text)) {
        section = std::move(opened);
        store(table, *section, "");
      }
      continue;
    }
    std::string keyword(skipBlanks(std::string_view(line).substr(0, equals)));
    removeTrailingSpace(keyword);
    const std::string value = valueOf(file, line, equals);
    if (!section) continue;
    const std::string name = *section + ":" + keyword;
    if (name.size() <= kLineMax) store(table, name, withoutQuotes(withEnvironment(value)));
  }
}

}  // namespace

SymbolTable* ini_dyn_load(SymbolTable* table, const char* file) {
  if (table == nullptr) table = sym_create_table_(nullptr, 0);
  if (table == nullptr) return nullptr;
  try {
    const std::string path = locate(file);
    if (path.empty()) return table;
    storeFileSymbols(table, file, path);
    const File stream = openFile(path);
    if (stream == nullptr) return table;
    readEntries(stream.get(), table);
    sym_sort_table(table);
  } catch (const std::bad_alloc&) {
    // An entry is stored as a whole or not at all. The table keeps the entries read so far.
  }
  return table;
}
