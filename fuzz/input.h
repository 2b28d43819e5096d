// The input of a fuzzer as a file, and the check of a property.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// A file in memory that holds the input, for readers that take a path. It lives as long as
// the object.
class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const char* path() const { return path_.c_str(); }

 private:
  int descriptor_;
  std::string path_;
};

// When the condition does not hold, prints `what` and ends the program by abort().
void require(bool condition, const char* what);
