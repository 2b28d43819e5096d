// What an update of Kaspersky-format bases has to download and to remove.
#pragma once

#include "engines/change_set.h"

// Appends the files to download, as QX_KAVUpdater::addToDownload() tells. kDone, kFailed
// or kCancelled.
[[nodiscard]] int findWantedByKlb(const Session& session, const char* downloaded,
                                  const char* installed, std::vector<Wanted>& wanted);

// Appends the files to remove, as QX_KAVUpdater::addToDelete() tells.
[[nodiscard]] int findDropped(const Session& session, const std::string& downloaded,
                              const std::string& installed, std::vector<std::string>& dropped);
