#include "engines/bd/changes.h"

#include "app/interrupt.h"
#include "engines/bd/utils.h"
#include "engines/bd/versions_index.h"
#include "engines/index_name.h"

namespace {

struct Installed {
  IndexName name;
  const std::string* proof;
};

// Whether an installed file has another digest than the listed one. Nothing, after a line in
// the log, when the file cannot be read.
std::optional<bool> isDifferent(const Session& session, const Wanted& entry) {
  const std::string local = session.places.installed(entry.name);
  const std::optional<std::string> digest = md5Of(local);
  if (!digest) {
    writeLog(session.log, "LOG: Error getting md5sum of file (%s)\n", local.c_str());
    return std::nullopt;
  }
  return entry.proof != *digest;
}

// Whether an installed file must be fetched. The first entry of its name in the installed
// index decides. When the file cannot be read, the next entry does.
bool isWantedByIndex(const Session& session, const Wanted& entry,
                     const std::vector<Installed>& installed) {
  const IndexName name(entry.name);
  for (const Installed& old : installed) {
    if (DownCancelled) return false;
    if (!(old.name == name)) continue;
    if (*old.proof != entry.proof) return true;
    if (const std::optional<bool> isWanted = isDifferent(session, entry)) return *isWanted;
  }
  return false;
}

}  // namespace

// All names of the downloaded index are judged before any of them is used. Another digest in
// the installed index makes a file wanted. The same digest there proves nothing, because
// somebody may have changed the file since: the digest of the file itself decides. A file
// that the installed index does not list was put there by somebody else and is left alone.
int findWantedByVersions(const Session& session, const char* downloaded, const char* installed,
                         std::vector<Wanted>& wanted) {
  const auto listed = readVersions(downloaded);
  if (!listed) return cannotRead(session, downloaded);
  NameJudge judge(session);
  for (const Wanted& entry : *listed)
    if (judge.refuses(entry.name)) return kFailed;
  const auto entries = installed != nullptr ? readVersions(installed) : std::vector<Wanted>();
  if (!entries) return cannotRead(session, installed);
  std::vector<Installed> old;
  old.reserve(entries->size());
  for (const Wanted& entry : *entries) old.push_back({IndexName(entry.name), &entry.proof});

  for (const Wanted& entry : *listed) {
    const bool present = fileExists(session.places.installed(entry.name));
    const bool isWanted =
        !present || (installed != nullptr ? isWantedByIndex(session, entry, old)
                                          : isDifferent(session, entry).value_or(false));
    if (isWanted) wanted.push_back({entry.name + session.format->suffix, entry.proof, entry.size});
    if (present && DownCancelled) break;
  }
  return DownCancelled ? kCancelled : kDone;
}
