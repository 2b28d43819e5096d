// Text files, indexes and wget's log, as lines.
#pragma once

#include <fstream>
#include <string>

// Reads a text file line by line. A line longer than the limit gives its first
// `limit` characters and ends the reading. A line ends at a NUL that it holds.
class LineReader {
 public:
  LineReader(const std::string& path, std::size_t limit);

  bool isOpen() const { return file_.is_open(); }

  // Gives the next line without its line feed; false when there is none. The
  // end of the file may give one more, empty line.
  [[nodiscard]] bool next(std::string& line);

 private:
  std::ifstream file_;
  std::string buffer_;
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
