// Strings that an object owns as C strings, made with strdup.
#pragma once

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

struct Free {
  void operator()(void* block) const { std::free(block); }
};

// Null means "not set".
using OwnedString = std::unique_ptr<char, Free>;

// A copy of the text; null for null. Throws std::bad_alloc.
inline OwnedString copyString(const char* text) {
  OwnedString copy(text != nullptr ? strdup(text) : nullptr);
  if (copy == nullptr && text != nullptr) throw std::bad_alloc();
  return copy;
}
