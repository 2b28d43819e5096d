#include "engines/index_name.h"

#include <algorithm>
#include <cstring>

namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

}  // namespace

std::string journalName(const std::string& index) { return "." + index + ".journal"; }

std::string normalisedName(std::string_view name) {
  std::string normal;
  for (std::size_t start = 0, end = 0; end < name.size(); start = end + 1) {
    end = std::min(name.find('/', start), name.size());
    const std::string_view component = name.substr(start, end - start);
    if (!component.empty() && component != ".")
      normal.append(normal.empty() ? "" : "/").append(component);
  }
  return normal;
}

bool isSafeName(std::string_view name, const std::string& index) {
  if (!name.empty() && name.front() == '/') return false;
  if (std::any_of(name.begin(), name.end(), isControl)) return false;
  if (("/" + std::string(name) + "/").find("/../") != std::string::npos) return false;
  const std::string normal = normalisedName(name);
  return normal != index && normal.substr(0, normal.find('/')) != journalName(index);
}

bool isPlainName(std::string_view name, const std::string& index) {
  return isSafeName(name, index) && !name.empty() && normalisedName(name) == name;
}

std::string printableName(std::string_view name) {
  std::string printable(name);
  std::replace_if(printable.begin(), printable.end(), isControl, '?');
  return printable;
}

IndexName::IndexName(std::string_view text) : text_(text) {
  const std::size_t length = std::min(text.size(), sizeof tail_);
  if (length > 0) std::memcpy(&tail_, text.data() + text.size() - length, length);
}
