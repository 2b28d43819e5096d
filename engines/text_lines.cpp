#include "engines/text_lines.h"

#include <algorithm>
#include <utility>

bool LineReader::next(std::string& line) {
  if (!isOpen() || ended_) return false;
  line.clear();
  int c = getc_unlocked(file_.get());
  for (; c != EOF && c != '\n' && line.size() < limit_; c = getc_unlocked(file_.get()))
    line += static_cast<char>(c);
  ended_ = c != '\n';
  line.resize(std::min(line.find('\0'), line.size()));
  return true;
}

std::string withoutTrailing(char c, std::string text) {
  const std::size_t last = text.find_last_not_of(c);
  if (last != std::string::npos) text.resize(last + 1);
  return text;
}

std::string withoutLineEnd(std::string text) {
  return withoutTrailing('\r', withoutTrailing('\n', std::move(text)));
}

std::string withoutLeadingBlanks(std::string text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first != std::string::npos) text.erase(0, first);
  return text;
}
