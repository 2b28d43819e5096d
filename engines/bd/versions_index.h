// Reading versions.dat.
#pragma once

#include "engines/format.h"

// The files that an index lists, in its order; nothing when it cannot be read.
// DownCancelled ends the reading early.
[[nodiscard]] std::optional<std::vector<Wanted>> readVersions(const std::string& path);
