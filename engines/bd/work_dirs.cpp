// The directories of an update of BitDefender-format bases, and the backup.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "engines/bd/bd_updater.h"
#include "system/command.h"
#include "system/shell_word.h"

namespace {

constexpr int kLastNumber = 64;

// The first of NAME, NAME1 ... NAME64 that does not exist in the directory and would not be or
// hold the configured backup: the run removes its working directory in the end.
std::optional<std::string> freeName(const Places& places, const char* name) {
  for (int n = 0; n <= kLastNumber; ++n) {
    std::string path = places.temp + "/" + name + (n > 0 ? std::to_string(n) : "");
    if (!fileExists(path) && !(places.backup && isOrHoldsAny({path}, *places.backup))) return path;
  }
  return std::nullopt;
}

// Writes the system's reason to the log. Returns kFailed.
int cannotMake(QX_AVUpdateLog* log, const char* what, const std::string& path) {
  writeLog(log, "LOG: Error creating %s %s (%s)\n", what, path.c_str(), std::strerror(errno));
  return kFailed;
}

bool makeDir(const std::string& path) { return mkdir(path.c_str(), 0775) == 0; }

// Makes the base directory under another name first, with its Plugins in it. A run that
// finds a base directory takes it for complete. The order holds after a power cut, too.
int makeBase(const std::string& path, QX_AVUpdateLog* log) {
  const std::string base = path.substr(0, path.find_last_not_of('/') + 1);
  const std::size_t name = base.rfind('/') + 1;
  const std::string made = base.substr(0, name) + "." + base.substr(name) + ".new";
  if (!makeDir(made) && errno != EEXIST) return cannotMake(log, "basedir", path);
  if (!makeDir(made + "/Plugins") && errno != EEXIST) {
    rmdir(made.c_str());
    return cannotMake(log, "plugindir", path + "/Plugins");
  }
  if (!syncDirectory(made) || std::rename(made.c_str(), base.c_str()) != 0)
    return cannotMake(log, "basedir", path);
  return kDone;
}

}  // namespace

int QX_BDUpdater::MakeDirs() {
  if (!session.isOpen()) return kFailed;
  Places& places = session.places;
  baseCreated = !fileExists(places.base);
  if (baseCreated && makeBase(places.base, session.log) != kDone) return kFailed;

  const auto work = freeName(places, "avdowndir");
  if (!work) {
    writeLog(session.log, "LOG: To many temp download dir at %s. Delete unused and retry again\n",
             places.temp.c_str());
    return kFailed;
  }
  if (!makeDir(*work)) return cannotMake(session.log, "temp download dir", *work);
  places.download = *work;

  // This backup lies beside the working directory, not in it: it survives an accident to the
  // downloads.
  if (!places.backup) places.ownBackup = freeName(places, kBdFormat.ownBackup);
  if (!backupPlace(places))
    writeLog(session.log, "LOG: To many back dir at %s. Delete unused and retry again\n",
             work->c_str());
  else if (makeDir(*work + "/Plugins"))
    return kDone;
  else
    cannotMake(session.log, "dir", *work + "/Plugins");
  rmdir(work->c_str());
  return kFailed;
}

int QX_BDUpdater::RemoveDirs() {
  // The scanner's own cache does not belong into a backup.
  if (const auto place = backupPlace(session.places)) removeFile(*place + "/Plugins/cache.000");
  if (!session.places.backup && !Installation::needsBackup(session)) DeleteCurrentBackup();
  removeFile(session.wgetLog);
  if (!session.isOpen()) return kDone;
  return runInstallation("rm -rf " + shellWord(session.places.download));
}
