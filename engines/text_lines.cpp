#include "engines/text_lines.h"

namespace {

void removeTrailing(std::string& text, char c) {
  const std::size_t last = text.find_last_not_of(c);
  if (last != std::string::npos) text.resize(last + 1);
}

}  // namespace

LineReader::LineReader(const std::string& path, std::size_t limit)
    : file_(path), buffer_(limit + 1, '\0') {}

bool LineReader::next(std::string& line) {
  if (!file_.good()) return false;
  file_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  line.assign(buffer_, 0, buffer_.find('\0'));
  return true;
}

std::string withoutLineEnd(std::string text) {
  removeTrailing(text, '\n');
  removeTrailing(text, '\r');
  return text;
}

std::string withoutLeadingBlanks(std::string text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first != std::string::npos) text.erase(0, first);
  return text;
}

std::string withoutTrailingBlanks(std::string text) {
  removeTrailing(text, ' ');
  return text;
}
