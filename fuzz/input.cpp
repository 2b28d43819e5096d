#include "fuzz/input.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

InputFile::InputFile(const std::uint8_t* data, std::size_t size)
    : descriptor_(memfd_create("input", MFD_CLOEXEC)),
      path_("/proc/self/fd/" + std::to_string(descriptor_)) {
  require(write(descriptor_, data, size) == static_cast<ssize_t>(size), "a file to read");
}

InputFile::~InputFile() { close(descriptor_); }

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}
