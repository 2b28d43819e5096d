// Fetching one file of Kaspersky-format bases.

#include <unistd.h>

#include "app/interrupt.h"
#include "engines/command.h"
#include "engines/files.h"
#include "engines/kav/kav_updater.h"
#include "engines/numbers.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr std::size_t kCommandMax = 1022;

std::string downloadCommand(const std::string& wget, const std::string& url,
                            const std::string& target) {
  return wget + " " + shellWord(url) + " -O " + shellWord(target) + " > /dev/null 2>&1";
}

}  // namespace

int QX_KAVUpdater::DownloadFile(const char* file, const char* server, std::int32_t size,
                                unsigned char notify) {
  const UpdateProgressCallback watcher = notify != 0 ? callback : nullptr;
  if (file == nullptr) return kDone;
  if (sendProgress(watcher, callbackData, ProgressFileStarted, file, totalBytes, doneBytes) ==
      ProgressCancel)
    return kCancelled;

  const bool fetched = fetch(file, server);
  if (DownCancelled) return kCancelled;
  if (!fetched) return kFailed;

  doneBytes = addBytes(doneBytes, size);
  return sendFileFetched(watcher, callbackData, file, totalBytes, doneBytes) == ProgressCancel
             ? kCancelled
             : kDone;
}

// Whether the file was fetched into the temp directory. wget leaves an empty file
// behind when the server does not have the one asked for. One that is missing
// although wget was content is noticed by whoever reads it.
bool QX_KAVUpdater::fetch(const char* file, const char* server) const {
  if (wgetCommand == nullptr || tempPath == nullptr || server == nullptr) return false;
  const std::string target = downloadedPath(file);
  const std::string command =
      downloadCommand(wgetCommand.get(), std::string(server) + "/" + file, target);
  // A cut command would write to another path.
  if (command.size() > kCommandMax) return false;
  // The wget of a killed run may still be writing to a file of that name.
  unlink(target.c_str());
  return runDownload(command).succeeded() && (hasContents(target) || !fileExists(target));
}
