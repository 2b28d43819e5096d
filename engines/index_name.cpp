#include "engines/index_name.h"

#include <algorithm>
#include <cstring>

namespace {

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// Whether one of the name's components is the given one.
bool hasComponent(std::string_view name, std::string_view wanted) {
  for (;;) {
    const std::size_t slash = name.find('/');
    if (name.substr(0, slash) == wanted) return true;
    if (slash == std::string_view::npos) return false;
    name.remove_prefix(slash + 1);
  }
}

}  // namespace

bool isSafeName(std::string_view name) {
  const bool isAbsolute = !name.empty() && name.front() == '/';
  return !isAbsolute && !hasComponent(name, "..") &&
         std::none_of(name.begin(), name.end(), isControl);
}

bool isPlainName(std::string_view name) {
  return isSafeName(name) && !hasComponent(name, ".") && !hasComponent(name, "");
}

IndexName::IndexName(std::string_view text) : text_(text) {
  const std::size_t length = std::min(text.size(), sizeof tail_);
  if (length > 0) std::memcpy(&tail_, text.data() + text.size() - length, length);
}
