#include "engines/change_set.h"

#include <algorithm>

#include "app/interrupt.h"
#include "engines/index_name.h"

std::int32_t totalSize(const std::vector<Wanted>& wanted) {
  std::int32_t sum = 0;
  for (const Wanted& file : wanted) sum = addBytes(sum, file.size);
  return sum;
}

std::int32_t listedSize(const std::string& text) {
  const long size = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(size, INT32_MIN, INT32_MAX));
}

int cannotRead(const Session& session, const std::string& index) {
  writeLog(session.log, "%sError getting download list from file(%s)\n", session.format->prefix,
           index.c_str());
  return kFailed;
}

bool NameJudge::refuses(const std::string& name) {
  if (!name.empty() && isSafeName(name, session_.format->index) && !reachesGuarded(name))
    return false;
  writeLog(session_.log, "%sInvalid file name (%s)\n", session_.format->prefix,
           printableName(name).c_str());
  return true;
}

// Only a name with a folder in it can leave the download directory. wget makes no folders:
// behind a folder that does not exist nothing is reached.
bool NameJudge::reachesGuarded(const std::string& name) {
  const std::string plain = normalisedName(name);
  for (std::size_t at = plain.find('/'); at != std::string::npos; at = plain.find('/', at + 1)) {
    const std::string folder = plain.substr(0, at);
    if (known_.count(folder) != 0) continue;
    const std::string path = session_.places.downloaded(folder);
    if (!fileExists(path)) return false;
    if (isOrHoldsAny(guarded_, path)) return true;
    known_.insert(folder);
  }
  return false;
}

int fetchAll(Session& session, const std::vector<Wanted>& wanted,
             const std::function<Transfer(const Wanted&)>& transferOf) {
  const EngineFormat& format = *session.format;
  int result = kDone;
  session.totalBytes = totalSize(wanted);
  session.doneBytes = 0;
  for (const Wanted& file : wanted) {
    if (result != kDone || (format.stopsBetweenFiles && DownCancelled)) break;
    writeLog(session.log, "%sDownloading file %s", format.prefix, file.name.c_str());
    result = session.fetch(file.name.c_str(), file.size, true, transferOf(file));
    const bool isWrong = result == kDone && *format.suffix == '\0' &&
                         format.proofOf(session.places.downloaded(file.name)) != file.proof;
    if (isWrong) result = kFailed;
    writeLog(session.log, result == kDone        ? " done!\n"
                          : result == kCancelled ? " cancelled!\n"
                                                 : " error!\n");
    if (isWrong)
      writeLog(session.log, "%sSignature mismatch in downloaded file(%s)\n", format.prefix,
               file.name.c_str());
  }
  session.totalBytes = session.doneBytes = 0;
  return result;
}
