#include "engines/kav/changes.h"

#include <optional>
#include <string_view>

#include "app/interrupt.h"
#include "engines/index_name.h"
#include "engines/kav/klb_index.h"
#include "system/files.h"

namespace {

// The fields of an installed entry that comparisons need, read once; views into the
// entry.
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

// What the installed index says of a file's signature.
enum class Listed { Nowhere, Same, Different, Unsigned, Cancelled };

Listed compareListed(const std::vector<Fields>& installed, std::string_view file,
                     std::string_view signature) {
  const IndexName name(file);
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

int findWantedByKlb(const Session& session, const char* downloaded, const char* installed,
                    bool alsoDoubtful, std::vector<Wanted>& wanted) {
  const auto newEntries = readKlb(downloaded);
  if (!newEntries) return cannotRead(session, downloaded);
  for (const std::string& entry : *newEntries)
    if (const auto name = entryName(entry); name && refusesName(session, std::string(*name)))
      return kFailed;
  const auto oldEntries = installed != nullptr ? readKlb(installed) : std::vector<std::string>();
  if (!oldEntries) return cannotRead(session, installed);
  const std::vector<Fields> old = namedEntries(*oldEntries);

  for (const std::string& entry : *newEntries) {
    const std::optional<std::string_view> name = entryName(entry);
    if (!name) continue;
    const std::optional<std::string_view> signature = entrySignature(entry);
    const std::int32_t size = entrySize(entry);
    if (!signature || size < 0) {
      writeLog(session.log, "KLOG: Invalid signature or size (%s)\n", entry.c_str());
      return kFailed;
    }
    const Wanted file{std::string(*name), std::string(*signature), size};
    const std::string local = session.installed(file.name);
    if (!fileExists(local)) {
      wanted.push_back(file);
      continue;
    }

    const Listed listed = compareListed(old, *name, *signature);
    if (listed == Listed::Unsigned) return kFailed;
    if (listed == Listed::Cancelled) return kCancelled;
    bool isWanted = listed == Listed::Different;
    if (installed == nullptr)
      isWanted = signatureLine(local) != file.proof;
    else if (alsoDoubtful)
      isWanted = listed != Listed::Same || signatureLine(local) != file.proof;
    if (isWanted) wanted.push_back(file);
    if (DownCancelled && (installed != nullptr || !isWanted)) return kCancelled;
  }
  return kDone;
}

int findDropped(const Session& session, const std::string& downloaded, const std::string& installed,
                std::vector<std::string>& dropped) {
  const auto newEntries = readKlb(downloaded);
  const auto oldEntries = readKlb(installed);
  if (!newEntries || !oldEntries) return kFailed;
  std::vector<std::string> keptNames;
  for (const Fields& entry : namedEntries(*newEntries))
    keptNames.push_back(normalisedName(entry.name.text()));
  const std::vector<IndexName> kept(keptNames.begin(), keptNames.end());

  for (const Fields& old : namedEntries(*oldEntries)) {
    bool listed = false;
    for (std::size_t i = 0; i < kept.size() && !listed; ++i) {
      if (DownCancelled) return kCancelled;
      listed = kept[i] == old.name;
    }
    if (!listed && isPlainName(old.name.text(), session.format->index))
      dropped.emplace_back(old.name.text());
  }
  return kDone;
}
