// What an update of BitDefender-format bases has to download.
#pragma once

#include "engines/change_set.h"

// Appends the files to download, as QX_BDUpdater::AddToDownload() tells. With
// `alsoDoubtful` a file that is there and that the installed index does not list is
// wanted, too: a run that did not finish may have left it in part. kDone, kFailed or
// kCancelled.
[[nodiscard]] int findWantedByVersions(const Session& session, const char* downloaded,
                                       const char* installed, bool alsoDoubtful,
                                       std::vector<Wanted>& wanted);
