#include "engines/index_name.h"

#include <algorithm>

namespace {

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

bool isSafeName(std::string_view name) {
  if (!name.empty() && name.front() == '/') return false;
  if (std::any_of(name.begin(), name.end(), isControl)) return false;
  while (!name.empty()) {
    const std::string_view component = name.substr(0, name.find('/'));
    if (component == "..") return false;
    name.remove_prefix(component.size() < name.size() ? component.size() + 1 : name.size());
  }
  return true;
}
