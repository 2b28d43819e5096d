// Reading versions.dat.
#pragma once

#include <optional>
#include <vector>

#include "engines/bd/av_entry.h"
#include "engines/format.h"

// The entries of an index, in its order; nothing when it cannot be read. DownCancelled
// ends the reading early.
[[nodiscard]] std::optional<std::vector<__QX_AvEntry>> readVersions(const std::string& path);

// The files that they list.
[[nodiscard]] std::optional<std::vector<Wanted>> filesOfVersions(const std::string& path);
