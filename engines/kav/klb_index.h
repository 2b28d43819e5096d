// Reading avp.klb, and the signature lines that it refers to.
#pragma once

#include <string_view>

#include "engines/format.h"

// Sizes of the published operations' buffers, with the terminator.
constexpr std::size_t kFieldBytes = 100;
constexpr std::size_t kSignatureLineBytes = 65;

// The entries of an index; nothing when it cannot be read.
[[nodiscard]] std::optional<std::vector<std::string>> readKlb(const std::string& path);

// The files that the entries with a name list. A missing signature is empty, a missing
// size -1.
[[nodiscard]] std::optional<std::vector<Wanted>> filesOfKlb(const std::string& path);

// The file name and the signature of an entry, as views into it; nothing when no comma
// ends the field within the entry's first 255 characters or it has 100 characters or
// more. The size in bytes; -1 when missing.
std::optional<std::string_view> entryName(std::string_view entry);
std::optional<std::string_view> entrySignature(std::string_view entry);
std::int32_t entrySize(std::string_view entry);

// The signature line at the end of a file: what stands 60 bytes before the end, up to
// the line's end, less its last two characters. Nothing when the file cannot be read or
// holds no such line.
[[nodiscard]] std::optional<std::string> signatureLine(const std::string& path);
