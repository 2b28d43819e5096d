#include "engines/backup.h"

#include "engines/index_name.h"
#include "system/command.h"
#include "system/file_commands.h"
#include "system/shell_word.h"

std::string backupPlace(const std::string& path) {
  return path.substr(0, path.find_last_not_of('/') + 1);
}

int takeBackup(const Session& session, const std::string& place) {
  const int status = copyTree(session.places.base, place);
  discard(place + "/" + journalName(session.format->index));
  return status;
}

int restoreBackup(const Session& session, const std::string& place) {
  return runInstallation("cp -prf " + shellWord(place) + "/* " + shellWord(session.places.base) +
                         kQuietly);
}
