#include "engines/backup.h"

#include "engines/index_name.h"
#include "system/command.h"
#include "system/file_commands.h"
#include "system/files.h"
#include "system/shell_word.h"

Backup::Backup(const Places& places, const EngineFormat& format, const std::string& place)
    : base_(places.base),
      place_(place.substr(0, place.find_last_not_of('/') + 1)),
      journal_(place_ + "/" + journalName(format.index)) {}

bool Backup::exists() const { return fileExists(place_); }

int Backup::remove() const { return removeTree(place_); }

int Backup::take() const {
  const int status = copyTree(base_, place_);
  discard(journal_);
  return status;
}

int Backup::copyBack() const {
  return runInstallation("cp -prf " + shellWord(place_) + "/* " + shellWord(base_) + kQuietly);
}
