// What an update of BitDefender-format bases has to download.
#pragma once

#include "engines/change_set.h"

// Appends the files to download, as QX_BDUpdater::AddToDownload() tells. kDone, kFailed or
// kCancelled.
[[nodiscard]] int findWantedByVersions(const Session& session, const char* downloaded,
                                       const char* installed, std::vector<Wanted>& wanted);
