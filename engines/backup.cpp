#include "engines/backup.h"

#include "engines/index_name.h"
#include "system/command.h"
#include "system/file_commands.h"
#include "system/shell_word.h"

std::optional<std::string> backupPlace(const Places& places) {
  if (!places.backup) return places.ownBackup;
  return places.backup->substr(0, places.backup->find_last_not_of('/') + 1);
}

int takeBackup(const Session& session) {
  const auto place = backupPlace(session.places);
  if (!place || removeBackup(session) < 0) return kFailed;
  const int status = copyTree(session.places.base, *place);
  discard(*place + "/" + journalName(session.format->index));
  return status;
}

int restoreBackup(const Session& session) {
  const auto place = backupPlace(session.places);
  if (!place) return kFailed;
  return runInstallation("cp -prf " + shellWord(*place) + "/* " + shellWord(session.places.base) +
                         kQuietly);
}

int removeBackup(const Session& session) {
  const auto place = backupPlace(session.places);
  return place && fileExists(*place) ? removeTree(*place) : kDone;
}
