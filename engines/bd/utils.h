// File digests and cleaned lines for the BitDefender-format updater.
#pragma once

#include <optional>
#include <utility>

#include "engines/text_lines.h"

// The MD5 digest of a file as 32 lower-case hexadecimal digits; nothing when the file
// cannot be opened or read.
[[nodiscard]] std::optional<std::string> md5Of(const std::string& file);

class QX_UTILS {
 public:
  static constexpr std::size_t kDigestBytes = 33;  // 32 digits and the terminator

  // Writes md5Of() into a buffer of kDigestBytes. Returns 0, or -1 when there is no
  // digest; the buffer is untouched then.
  static int md5sum(const char* file, char* out);

  // The text without leading and trailing blanks (the space character alone); a
  // text of blanks alone as it is.
  static std::string strtrim(std::string text) {
    return withoutLeadingBlanks(withoutTrailing(' ', std::move(text)));
  }

  // The text without its trailing line feeds and then its trailing carriage
  // returns; a text of one of these alone as it is.
  static std::string strchop(std::string text) { return withoutLineEnd(std::move(text)); }
};
