// The fields of an avp.klb entry, as views into it.
#pragma once

#include <optional>
#include <string_view>

// The file name and the signature; nothing when no comma ends the field within
// the entry's first 255 characters or it has 100 characters or more.
std::optional<std::string_view> entryName(std::string_view entry);
std::optional<std::string_view> entrySignature(std::string_view entry);
