// Text files, indexes and wget's log, as lines.
#pragma once

#include <string>

#include "system/files.h"

// Reads a text file line by line. A line longer than the limit gives its first
// `limit` characters and ends the reading. A line ends at a NUL that it holds.
class LineReader {
 public:
  LineReader(const std::string& path, std::size_t limit);

  bool isOpen() const { return file_ != nullptr; }

  // Whether a read failed, so that lines are missing. Asked for at the end.
  bool failed() const { return isOpen() && std::ferror(file_.get()) != 0; }

  // Gives the next line without its line feed; false when there is none. The
  // end of the file may give one more, empty line.
  [[nodiscard]] bool next(std::string& line);

 private:
  File file_;
  const std::size_t limit_;
  bool ended_ = false;
};

// Characters of an index line that are taken.
constexpr std::size_t kIndexLineLimit = 1022;

// Without the line feeds and then the carriage returns at its end. A text of
// line feeds alone, or of carriage returns alone, stays as it is.
std::string withoutLineEnd(std::string text);

// Without the blanks (the space character alone) at its start, or at its end. A
// text of blanks alone stays as it is.
std::string withoutLeadingBlanks(std::string text);
std::string withoutTrailingBlanks(std::string text);
