// What an update of BitDefender-format bases has to download.
#pragma once

#include <optional>
#include <vector>

#include "engines/bd/av_entry.h"
#include "engines/change_set.h"

// Appends the entries of the files to download, as QX_BDUpdater::AddToDownload() tells.
// With `alsoDoubtful` a file that is there and that the installed index does not list is
// wanted, too: a run that did not finish may have left it in part. kDone, kFailed or
// kCancelled.
[[nodiscard]] int findWanted(const Session& session, const char* downloaded, const char* installed,
                             bool alsoDoubtful, std::vector<__QX_AvEntry>& wanted);
