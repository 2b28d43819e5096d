// Input of a fuzzer, and what must hold of the output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// A file in memory that holds the input, for readers that take a path.
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

// Ends the program when the condition does not hold; `what` says which.
void require(bool condition, const char* what);
