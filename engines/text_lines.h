// Reading text files line by line: indexes and wget's log.
#pragma once

#include "system/files.h"

// Reads the lines of a file. From a line that is longer than the limit it gives the first
// `limit` characters, and the reading ends there: failed() does not tell this. A NUL in a line
// ends that line.
class LineReader {
 public:
  LineReader(const std::string& path, std::size_t limit) : file_(openFile(path)), limit_(limit) {}

  bool isOpen() const { return file_ != nullptr; }

  // Whether lines are missing because the file could not be opened or a read has failed.
  // Ask after the last line.
  bool failed() const { return !isOpen() || std::ferror(file_.get()) != 0; }

  // Gives the next line without its line feed. Returns false when there is none. The end
  // of the file may give one more line, which is empty.
  [[nodiscard]] bool next(std::string& line);

 private:
  File file_;
  const std::size_t limit_;
  bool ended_ = false;
};

// The limit for the lines of an index.
constexpr std::size_t kIndexLineLimit = 1022;

// The text without a character's repetitions at its end. A text of this character alone
// stays as it is.
std::string withoutTrailing(char c, std::string text);

// The text without the line feeds at its end, and then without the carriage returns there.
// A text of line feeds alone, or of carriage returns alone, stays as it is.
std::string withoutLineEnd(std::string text);

// The text without the spaces at its start. A text of spaces alone stays as it is.
std::string withoutLeadingBlanks(std::string text);
