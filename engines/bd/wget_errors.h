// What wget has written about a download.
#pragma once

#include <string>

// Why a download failed, as wget's log tells.
struct DownloadFailure {
  int cause;            // one of QX_BDUpdater's DownloadErr codes
  const char* message;  // for watcher and log
};

// The first recognised line of the log decides. Where the log cannot be opened the
// message is null.
DownloadFailure downloadFailure(const std::string& wgetLog, bool usesProxy);

// Whether a file has as many bytes as wget says that it has saved, if it says so.
[[nodiscard]] bool hasSavedSize(const std::string& path, const std::string& wgetLog);
