// Reading versions.dat.
#pragma once

#include <optional>
#include <vector>

#include "engines/bd/av_entry.h"

// The entries of an index, in its order; nothing when it cannot be opened.
// DownCancelled ends the reading early.
[[nodiscard]] std::optional<std::vector<__QX_AvEntry>> readVersions(const std::string& path);
