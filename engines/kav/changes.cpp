#include "engines/kav/changes.h"

#include "app/interrupt.h"
#include "engines/index_name.h"
#include "engines/kav/klb_index.h"

namespace {

// An entry that has a file name, with its fields. These are views into its text.
struct Fields {
  const std::string* text;
  IndexName name;
  std::optional<std::string_view> signature;
  std::int32_t size;
};

std::vector<Fields> namedEntries(const std::vector<std::string>& entries) {
  std::vector<Fields> named;
  named.reserve(entries.size());
  for (const std::string& entry : entries)
    if (const auto name = entryName(entry))
      named.push_back({&entry, IndexName(*name), entrySignature(entry), entrySize(entry)});
  return named;
}

// Whether the installed index lists a file with another signature than the downloaded one. A
// file that is not listed there is not different. Nothing when it is listed without a
// signature. After a cancel the answer means nothing.
std::optional<bool> isListedDifferent(const std::vector<Fields>& installed, const Fields& file) {
  for (const Fields& entry : installed) {
    const bool isListed = entry.name == file.name;
    if (isListed && !entry.signature) return std::nullopt;
    if (isListed && *entry.signature != *file.signature) return true;
    if (DownCancelled) break;
  }
  return false;
}

}  // namespace

// All names of the downloaded index are judged before any of them is used.
//
// When an installed index is given, it decides about a file that is there. Without one, the
// signature line of the file itself does. After a file that is wanted by its own line the
// cancel flag is not read: the next file, or the caller, reads it.
int findWantedByKlb(const Session& session, const char* downloaded, const char* installed,
                    std::vector<Wanted>& wanted) {
  const auto newEntries = readKlb(downloaded);
  if (!newEntries) return cannotRead(session, downloaded);
  const std::vector<Fields> listed = namedEntries(*newEntries);
  NameJudge judge(session);
  for (const Fields& entry : listed)
    if (judge.refuses(std::string(entry.name.text()))) return kFailed;
  const auto oldEntries = installed != nullptr ? readKlb(installed) : std::vector<std::string>();
  if (!oldEntries) return cannotRead(session, installed);
  const std::vector<Fields> installedEntries = namedEntries(*oldEntries);

  for (const Fields& entry : listed) {
    if (!entry.signature || entry.size < 0) {
      writeLog(session.log, "KLOG: Invalid signature or size (%s)\n",
               printableName(*entry.text).c_str());
      return kFailed;
    }
    const Wanted file{std::string(entry.name.text()), std::string(*entry.signature), entry.size};
    const std::string local = session.places.installed(file.name);
    const bool isPresent = fileExists(local);
    const auto isDifferent = isPresent ? isListedDifferent(installedEntries, entry) : true;
    if (!isDifferent) return kFailed;
    const bool isWanted =
        isPresent && installed == nullptr ? signatureLine(local) != file.proof : *isDifferent;
    if (isWanted) wanted.push_back(file);
    if (isPresent && DownCancelled && (installed != nullptr || !isWanted)) return kCancelled;
  }
  return kDone;
}

int findDropped(const Session& session, const std::string& downloaded, const std::string& installed,
                std::vector<std::string>& dropped) {
  const auto newFiles = filesOfKlb(downloaded);
  const auto oldFiles = filesOfKlb(installed);
  if (!newFiles || !oldFiles) return kFailed;
  std::set<std::string> kept;
  for (const Wanted& file : *newFiles) kept.insert(normalisedName(file.name));

  for (const Wanted& old : *oldFiles) {
    // Beside an index that lists nothing the flag is not read.
    if (DownCancelled && !kept.empty()) return kCancelled;
    if (kept.count(old.name) == 0 && isPlainName(old.name, session.format->index))
      dropped.push_back(old.name);
  }
  return kDone;
}
