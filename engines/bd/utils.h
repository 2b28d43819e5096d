// File digests and cleaned lines for the BitDefender-format updater.
#pragma once

#include <cstddef>
#include <string>

class QX_UTILS {
 public:
  static constexpr std::size_t kDigestBytes = 33;  // 32 digits and the terminator

  // Writes the MD5 digest of a file as lower-case hexadecimal digits into a
  // buffer of kDigestBytes. Returns 0, or -1 when the file cannot be opened or
  // read; the buffer is untouched then.
  static int md5sum(const char* file, char* out);

  // The text without leading and trailing blanks (the space character alone); a
  // text of blanks alone as it is.
  static std::string strtrim(std::string text);

  // The text without its trailing line feeds and then its trailing carriage
  // returns; a text of one of these alone as it is.
  static std::string strchop(std::string text);
};
