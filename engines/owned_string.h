// Strings that an object owns as C strings, made with strdup.
#pragma once

#include <cstdlib>
#include <cstring>
#include <memory>

struct Free {
  void operator()(void* block) const { std::free(block); }
};

// Null means "not set".
using OwnedString = std::unique_ptr<char, Free>;

// A copy of the text; null for null, and when memory runs out.
inline OwnedString copyString(const char* text) {
  return OwnedString(text != nullptr ? strdup(text) : nullptr);
}
