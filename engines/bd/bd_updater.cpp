// The published operations of the updater for BitDefender-format bases. Its directories are
// in work_dirs.cpp, its run is in update_run.cpp.

#include "engines/bd/bd_updater.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "engines/bd/changes.h"
#include "engines/bd/wget_errors.h"
#include "system/shell_word.h"

int QX_BDUpdater::setValues(const EngineSettings& settings) {
  return session.open(settings, [&]() -> std::string {
    if (!fileExists(settings.tempPath) && mkdir(settings.tempPath, 0777) != 0) {
      writeLog(settings.log, "LOG: Error accessing temp dir %s (%s)\n", settings.tempPath,
               std::strerror(errno));
      return "";
    }
    const std::string address = settings.proxyAddress(kBdFormat);
    if (!address.empty()) writeLog(settings.log, "LOG: Using Proxy %s\n", address.c_str());
    session.wgetLog = settings.tempPath + std::string("/avupdate_wget.err");
    return settings.wget() + " -o " + shellWord(session.wgetLog) +
           " --cache=off --server-response" + settings.proxySwitch() + settings.proxyLogin();
  });
}

int QX_BDUpdater::DownloadFile(const char* server, const char* file, unsigned int size,
                               bool notify) {
  if (!session.isOpen() || server == nullptr || file == nullptr) return DownloadErrGeneric;
  return session.fetch(file, static_cast<std::int32_t>(size), notify,
                       transfer(server, file, false));
}

// The digest shows that a base is cut. Nothing shows it of an index: it would be installed,
// and files that it does not list would not be updated any more. So an index must be whole.
Transfer QX_BDUpdater::transfer(const std::string& server, const char* file, bool mustBeWhole) {
  const auto judge = [this, file, mustBeWhole](const std::string& target, bool succeeded) {
    if (!fileExists(target)) return DownloadErrGeneric;
    const bool isCut = mustBeWhole && (!succeeded || !hasSavedSize(target, session.wgetLog));
    return hasContents(target) && !isCut ? kDone : DownloadError(file);
  };
  return {session.commandFor(server, file), judge};
}

int QX_BDUpdater::DownloadError(const char* file) {
  const DownloadFailure failure = downloadFailure(session.wgetLog, session.usesProxy());
  if (failure.message == nullptr) {
    session.reportError("Error downloading");
    writeLog(session.log, "LOG: Error downloading %s\n", file);
  } else {
    session.reportError(failure.message);
    writeLog(session.log, "%s\n", failure.message);
  }
  return failure.cause;
}

int QX_BDUpdater::GetDownloadList(const char* path, std::vector<__QX_AvEntry>& list) {
  const auto files = readVersions(path);
  if (!files) return kFailed;
  list.clear();
  for (const Wanted& file : *files) list.push_back({file.name, file.proof, file.size});
  return static_cast<int>(list.size());
}

int QX_BDUpdater::AddToDownload(const char* newIndex, const char* oldIndex,
                                std::vector<__QX_AvEntry>& downloadList,
                                std::int32_t* total) const {
  std::vector<Wanted> wanted;
  const int result = findWantedByVersions(session, newIndex, oldIndex, wanted);
  for (const Wanted& file : wanted) downloadList.push_back({file.name, file.proof, file.size});
  if (result == kDone) *total = totalSize(wanted);
  return result;
}
