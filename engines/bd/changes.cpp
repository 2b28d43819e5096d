#include "engines/bd/changes.h"

#include "app/interrupt.h"
#include "engines/bd/utils.h"
#include "engines/bd/versions_index.h"
#include "engines/index_name.h"

namespace {

struct Installed {
  IndexName name;
  const __QX_AvEntry* entry;
};

// Whether an installed file has the listed digest; nothing, after a line in the log,
// when it cannot be read.
std::optional<bool> hasDigest(const Session& session, const __QX_AvEntry& entry) {
  const std::string local = session.places.installed(entry.fileName);
  const std::optional<std::string> digest = md5Of(local);
  if (!digest) {
    writeLog(session.log, "LOG: Error getting md5sum of file (%s)\n", local.c_str());
    return std::nullopt;
  }
  return entry.md5 == *digest;
}

// Whether an installed file must be fetched, as the installed index tells: its first
// entry of that name decides, unless the file cannot be read.
bool isWantedByIndex(const Session& session, const __QX_AvEntry& entry,
                     const std::vector<Installed>& installed) {
  const IndexName name(entry.fileName);
  for (const Installed& old : installed) {
    if (DownCancelled) return false;
    if (!(old.name == name)) continue;
    if (old.entry->md5 != entry.md5) return true;
    const std::optional<bool> isListed = hasDigest(session, entry);
    if (isListed) return !*isListed;
  }
  return false;
}

}  // namespace

// The downloaded index is judged whole before anything of it is used. The installed one
// can make a file wanted, by another digest, but cannot vouch for it: somebody may have
// changed the file since, so that its own digest has the last word. A file that is there
// and that the installed index does not list was put there by somebody else and is left
// alone.
int findWantedByVersions(const Session& session, const char* downloaded, const char* installed,
                         std::vector<Wanted>& wanted) {
  const auto listed = readVersions(downloaded);
  if (!listed) return cannotRead(session, downloaded);
  NameJudge judge(session);
  for (const __QX_AvEntry& entry : *listed)
    if (judge.refuses(entry.fileName)) return kFailed;
  const auto entries = installed != nullptr ? readVersions(installed) : std::vector<__QX_AvEntry>();
  if (!entries) return cannotRead(session, installed);
  std::vector<Installed> old;
  old.reserve(entries->size());
  for (const __QX_AvEntry& entry : *entries) old.push_back({IndexName(entry.fileName), &entry});

  for (const __QX_AvEntry& entry : *listed) {
    const bool present = fileExists(session.places.installed(entry.fileName));
    bool isWanted = !present;
    if (present && installed != nullptr)
      isWanted = isWantedByIndex(session, entry, old);
    else if (present)
      isWanted = !hasDigest(session, entry).value_or(true);
    if (isWanted) wanted.push_back({entry.fileName + kBdSuffix, entry.md5, entry.size});
    if (present && DownCancelled) break;
  }
  return DownCancelled ? kCancelled : kDone;
}
