#include "system/shell_word.h"

constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";

std::string shellWord(std::string_view value) {
  if (!value.empty() && value.find_first_not_of(kPlain) == std::string_view::npos)
    return std::string(value);
  std::string word = "'";
  for (const char c : value) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}
