// What an update of Kaspersky-format bases has to download and to remove.

#include <optional>
#include <utility>

#include "app/interrupt.h"
#include "engines/files.h"
#include "engines/index_name.h"
#include "engines/kav/kav_updater.h"
#include "engines/numbers.h"
#include "engines/result.h"

namespace {

// An index entry with the fields that comparisons need, read once.
struct Fields {
  std::string name;
  std::string signature;
  bool hasSignature = false;
};

bool nameOf(const std::string& entry, std::string& name) {
  char field[QX_KAVUpdater::kFieldBytes];
  if (QX_KAVUpdater::getFname(entry.c_str(), field) < 0) return false;
  name = field;
  return true;
}

bool signatureOf(const std::string& entry, std::string& signature) {
  char field[QX_KAVUpdater::kFieldBytes];
  if (QX_KAVUpdater::getSign(entry.c_str(), field) < 0) return false;
  signature = field;
  return true;
}

// The fields of every entry that has a file name.
std::vector<Fields> namedEntries(const std::vector<std::string>& entries) {
  std::vector<Fields> named;
  named.reserve(entries.size());
  for (const std::string& entry : entries) {
    Fields fields;
    if (!nameOf(entry, fields.name)) continue;
    fields.hasSignature = signatureOf(entry, fields.signature);
    named.push_back(std::move(fields));
  }
  return named;
}

// The first listed name that must not be joined to a directory; nothing when
// all may.
std::optional<std::string> unsafeName(const std::vector<std::string>& entries) {
  std::string name;
  for (const std::string& entry : entries)
    if (nameOf(entry, name) && (name.empty() || !isSafeName(name))) return name;
  return std::nullopt;
}

// Whether the installed index lists another signature for the file: 1 or 0, 2
// when DownCancelled was seen, -1 when it lists the file without one.
int listedDifferently(const std::vector<Fields>& installed, const std::string& name,
                      const std::string& signature) {
  int differs = 0;
  for (const Fields& entry : installed) {
    if (entry.name == name) {
      if (!entry.hasSignature) return kFailed;
      if (entry.signature != signature) {
        differs = 1;
        break;
      }
    }
    if (DownCancelled) return kCancelled;
  }
  return DownCancelled ? static_cast<int>(kCancelled) : differs;
}

}  // namespace

int QX_KAVUpdater::addToDownload(const char* downloaded, const char* installed,
                                 std::vector<std::int32_t>& sizes, std::vector<std::string>& names,
                                 std::vector<std::string>& signatures, std::int32_t* total) const {
  const auto readIndex = [this](const char* path, std::vector<std::string>& entries) {
    if (GetDownloadList(path, entries) >= 0) return true;
    writeLog(log, "KLOG: Error getting download list from file(%s)\n", path);
    return false;
  };
  std::vector<std::string> newEntries;
  if (!readIndex(downloaded, newEntries)) return kFailed;
  if (const std::optional<std::string> name = unsafeName(newEntries)) {
    writeLog(log, "KLOG: Invalid file name (%s)\n", name->c_str());
    return kFailed;
  }
  std::vector<std::string> oldEntries;
  if (installed != nullptr && !readIndex(installed, oldEntries)) return kFailed;
  const std::vector<Fields> old = namedEntries(oldEntries);

  std::int32_t sum = 0;
  std::string name;
  std::string signature;
  for (const std::string& entry : newEntries) {
    if (!nameOf(entry, name)) continue;
    const std::int32_t size = getSize(entry.c_str());
    if (!signatureOf(entry, signature) || size < 0) {
      writeLog(log, "KLOG: Invalid signature or size (%s)\n", entry.c_str());
      return kFailed;
    }

    const std::string local = installedPath(name);
    bool wanted = !fileExists(local);
    if (!wanted && installed != nullptr) {
      const int differs = listedDifferently(old, name, signature);
      if (differs == kFailed || differs == kCancelled) return differs;
      wanted = differs != 0;
    } else if (!wanted) {
      wanted = !hasSignature(local, signature);
      if (!wanted && DownCancelled) return kCancelled;
    }
    if (!wanted) continue;
    sizes.push_back(size);
    names.push_back(name);
    signatures.push_back(signature);
    sum = addBytes(sum, size);
  }
  *total = sum;
  return static_cast<int>(names.size());
}

bool QX_KAVUpdater::hasSignature(const std::string& path, const std::string& signature) const {
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

  const std::vector<Fields> kept = namedEntries(newEntries);
  for (const Fields& old : namedEntries(oldEntries)) {
    bool listed = false;
    for (std::size_t i = 0; i < kept.size() && !listed; ++i) {
      if (DownCancelled) return kCancelled;
      listed = kept[i].name == old.name;
    }
    if (!listed && !old.name.empty() && isSafeName(old.name)) list.push_back(old.name);
  }
  return static_cast<int>(list.size());
}
