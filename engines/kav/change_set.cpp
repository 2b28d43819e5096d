// What an update of Kaspersky-format bases has to download and to remove.

#include <functional>
#include <optional>
#include <string_view>

#include "app/interrupt.h"
#include "engines/files.h"
#include "engines/index_name.h"
#include "engines/kav/entry_fields.h"
#include "engines/kav/kav_updater.h"
#include "engines/numbers.h"
#include "engines/places.h"
#include "engines/result.h"

namespace {

constexpr char kIndex[] = "avp.klb";

// The fields of an installed entry that comparisons need, read once; views into
// the entry.
struct Fields {
  IndexName name;
  std::optional<std::string_view> signature;
};

// The fields of every entry that has a file name.
std::vector<Fields> namedEntries(const std::vector<std::string>& entries) {
  std::vector<Fields> named;
  named.reserve(entries.size());
  for (const std::string& entry : entries)
    if (const auto name = entryName(entry))
      named.push_back({IndexName(*name), entrySignature(entry)});
  return named;
}

// The first listed name that must not be joined to a directory; nothing when all may.
// `reaches` tells whether a download of that name would reach another place.
std::optional<std::string> unsafeName(const std::vector<std::string>& entries,
                                      const std::function<bool(const std::string&)>& reaches) {
  for (const std::string& entry : entries)
    if (const auto name = entryName(entry);
        name && (name->empty() || !isSafeName(*name, kIndex) || reaches(std::string(*name))))
      return printableName(*name);
  return std::nullopt;
}

// What the installed index says of a file's signature.
enum class Listed { Nowhere, Same, Different, Unsigned, Cancelled };

Listed compareListed(const std::vector<Fields>& installed, const IndexName& name,
                     std::string_view signature) {
  Listed result = Listed::Nowhere;
  for (const Fields& entry : installed) {
    if (entry.name == name) {
      if (!entry.signature) return Listed::Unsigned;
      if (*entry.signature != signature) return Listed::Different;
      result = Listed::Same;
    }
    if (DownCancelled) return Listed::Cancelled;
  }
  return result;
}

}  // namespace

int QX_KAVUpdater::addToDownload(const char* downloaded, const char* installed,
                                 std::vector<std::int32_t>& sizes, std::vector<std::string>& names,
                                 std::vector<std::string>& signatures, std::int32_t* total) const {
  return findWanted(downloaded, installed, false, sizes, names, signatures, total);
}

// With `alsoDoubtful` a file that is there is also wanted when the installed index does
// not list it, or when it has not the signature that both indexes list: a run that did
// not finish may have left it in part.
int QX_KAVUpdater::findWanted(const char* downloaded, const char* installed, bool alsoDoubtful,
                              std::vector<std::int32_t>& sizes, std::vector<std::string>& names,
                              std::vector<std::string>& signatures, std::int32_t* total) const {
  const auto readIndex = [this](const char* path, std::vector<std::string>& entries) {
    if (GetDownloadList(path, entries) >= 0) return true;
    writeLog(log, "KLOG: Error getting download list from file(%s)\n", path);
    return false;
  };
  std::vector<std::string> newEntries;
  if (!readIndex(downloaded, newEntries)) return kFailed;
  if (const std::optional<std::string> name =
          unsafeName(newEntries, [this](const std::string& listed) {
            return listed.find('/') != std::string::npos &&
                   reachesPlaces(downloadedPath(listed), textOf(basePath), textOf(backupPath));
          })) {
    writeLog(log, "KLOG: Invalid file name (%s)\n", name->c_str());
    return kFailed;
  }
  std::vector<std::string> oldEntries;
  if (installed != nullptr && !readIndex(installed, oldEntries)) return kFailed;
  const std::vector<Fields> old = namedEntries(oldEntries);

  std::int32_t sum = 0;
  for (const std::string& entry : newEntries) {
    const std::optional<std::string_view> name = entryName(entry);
    if (!name) continue;
    const std::optional<std::string_view> signature = entrySignature(entry);
    const std::int32_t size = getSize(entry.c_str());
    if (!signature || size < 0) {
      writeLog(log, "KLOG: Invalid signature or size (%s)\n", entry.c_str());
      return kFailed;
    }

    const std::string local = installedPath(std::string(*name));
    const bool present = fileExists(local);
    bool wanted = !present;
    if (present && installed != nullptr) {
      const Listed listed = compareListed(old, IndexName(*name), *signature);
      if (listed == Listed::Unsigned) return kFailed;
      if (listed == Listed::Cancelled) return kCancelled;
      wanted = listed == Listed::Different ||
               (alsoDoubtful && (listed == Listed::Nowhere || !hasSignature(local, *signature)));
    } else if (present) {
      wanted = !hasSignature(local, *signature);
    }
    if (wanted) {
      sizes.push_back(size);
      names.emplace_back(*name);
      signatures.emplace_back(*signature);
      sum = addBytes(sum, size);
    }
    if (present && (installed != nullptr || !wanted) && DownCancelled) return kCancelled;
  }
  *total = sum;
  return static_cast<int>(names.size());
}

bool QX_KAVUpdater::hasSignature(const std::string& path, std::string_view signature) {
  char line[kSignatureLineBytes];
  return getFileSig(path.c_str(), line) == kDone && signature == line;
}

int QX_KAVUpdater::addToDelete(const char* downloaded, const char* installed,
                               std::vector<std::string>& list) const {
  std::vector<std::string> newEntries;
  std::vector<std::string> oldEntries;
  if (downloaded == nullptr || installed == nullptr) return kFailed;
  if (GetDownloadList(downloaded, newEntries) < 0 || GetDownloadList(installed, oldEntries) < 0)
    return kFailed;

  std::vector<std::string> keptNames;
  for (const Fields& entry : namedEntries(newEntries))
    keptNames.push_back(normalisedName(entry.name.text()));
  const std::vector<IndexName> kept(keptNames.begin(), keptNames.end());
  for (const Fields& old : namedEntries(oldEntries)) {
    bool listed = false;
    for (std::size_t i = 0; i < kept.size() && !listed; ++i) {
      if (DownCancelled) return kCancelled;
      listed = kept[i] == old.name;
    }
    if (!listed && isPlainName(old.name.text(), kIndex)) list.emplace_back(old.name.text());
  }
  return static_cast<int>(list.size());
}
