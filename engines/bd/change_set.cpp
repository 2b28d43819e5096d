// What an update of BitDefender-format bases has to download.

#include <algorithm>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/files.h"
#include "engines/index_name.h"
#include "engines/numbers.h"
#include "engines/result.h"

namespace {

constexpr char kIndex[] = "versions.dat";

}  // namespace

int QX_BDUpdater::AddToDownload(const char* newIndex, const char* oldIndex,
                                std::vector<__QX_AvEntry>& downloadList,
                                std::int32_t* totalSize) const {
  return findWanted(newIndex, oldIndex, false, downloadList, totalSize);
}

// With `alsoUnlisted` a file that is there and that the installed index does not list
// is wanted, too: a run that did not finish may have left it in part.
int QX_BDUpdater::findWanted(const char* newIndex, const char* oldIndex, bool alsoUnlisted,
                             std::vector<__QX_AvEntry>& downloadList,
                             std::int32_t* totalSize) const {
  const auto readIndex = [this](const char* path, std::vector<__QX_AvEntry>& entries) {
    if (GetDownloadList(path, entries) >= 0) return true;
    writeLog(log, "LOG: Error getting download list from file(%s)\n", path);
    return false;
  };
  std::vector<__QX_AvEntry> listed;
  if (!readIndex(newIndex, listed)) return kFailed;
  const auto unsafe = std::find_if(listed.begin(), listed.end(), [](const __QX_AvEntry& entry) {
    return !isSafeName(entry.fileName, kIndex);
  });
  if (unsafe != listed.end()) {
    writeLog(log, "LOG: Invalid file name (%s)\n", printableName(unsafe->fileName).c_str());
    return kFailed;
  }
  std::vector<__QX_AvEntry> installed;
  if (oldIndex != nullptr && !readIndex(oldIndex, installed)) return kFailed;
  std::vector<Installed> old;
  old.reserve(installed.size());
  for (const __QX_AvEntry& entry : installed) old.push_back({IndexName(entry.fileName), &entry});

  std::int32_t sum = 0;
  for (__QX_AvEntry& entry : listed) {
    const bool present = fileExists(installedPath(entry.fileName));
    const bool wanted = !present || (oldIndex != nullptr ? wantedByIndex(entry, old, alsoUnlisted)
                                                         : wantedByDigest(entry));
    if (wanted) {
      entry.fileName += ".gzip";
      sum = addBytes(sum, entry.size);
      downloadList.push_back(entry);
    }
    if (present && DownCancelled) break;
  }
  if (DownCancelled) return kCancelled;
  *totalSize = sum;
  return kDone;
}

// Compares the installed file with the digest that the entry lists.
QX_BDUpdater::Digest QX_BDUpdater::compareDigest(const __QX_AvEntry& entry) const {
  const std::string local = installedPath(entry.fileName);
  char digest[QX_UTILS::kDigestBytes] = {};
  if (QX_UTILS::md5sum(local.c_str(), digest) != kDone) {
    writeLog(log, "LOG: Error getting md5sum of file (%s)\n", local.c_str());
    return Digest::Unreadable;
  }
  return entry.md5 == digest ? Digest::Equal : Digest::Different;
}

// Whether an installed file must be fetched, as its own contents tell.
bool QX_BDUpdater::wantedByDigest(const __QX_AvEntry& entry) const {
  return compareDigest(entry) == Digest::Different;
}

// Whether an installed file must be fetched, as the installed index tells: its
// first entry of that name decides, unless the file cannot be read.
bool QX_BDUpdater::wantedByIndex(const __QX_AvEntry& entry, const std::vector<Installed>& installed,
                                 bool orUnlisted) const {
  const IndexName name(entry.fileName);
  bool listed = false;
  for (const Installed& old : installed) {
    if (DownCancelled) return false;
    if (!(old.name == name)) continue;
    listed = true;
    if (old.entry->md5 != entry.md5) return true;
    const Digest digest = compareDigest(entry);
    if (digest != Digest::Unreadable) return digest == Digest::Different;
  }
  return orUnlisted && !listed;
}
