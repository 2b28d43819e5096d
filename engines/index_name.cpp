#include "engines/index_name.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

std::vector<std::string_view> componentsOf(std::string_view name) {
  std::vector<std::string_view> components;
  for (;;) {
    const std::size_t slash = name.find('/');
    components.push_back(name.substr(0, slash));
    if (slash == std::string_view::npos) return components;
    name.remove_prefix(slash + 1);
  }
}

}  // namespace

std::string journalName(const std::string& index) { return "." + index + ".journal"; }

std::string normalisedName(std::string_view name) {
  std::string normal;
  for (const std::string_view component : componentsOf(name))
    if (!component.empty() && component != ".")
      normal.append(normal.empty() ? "" : "/").append(component);
  return normal;
}

bool isSafeName(std::string_view name, const std::string& index) {
  if (!name.empty() && name.front() == '/') return false;
  if (std::any_of(name.begin(), name.end(), isControl)) return false;
  for (const std::string_view component : componentsOf(name))
    if (component == "..") return false;
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
