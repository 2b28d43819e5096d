// C strings that an object owns. strdup() makes them.
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

// Returns a copy of the text, or null for null. Throws std::bad_alloc.
inline OwnedString copyString(const char* text) {
  OwnedString copy(text != nullptr ? strdup(text) : nullptr);
  if (copy == nullptr && text != nullptr) throw std::bad_alloc();
  return copy;
}
