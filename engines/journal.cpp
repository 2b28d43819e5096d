#include "engines/journal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "engines/index_name.h"
#include "engines/text_lines.h"
#include "system/file_commands.h"

namespace {

constexpr char kCreated[] = "created ";
constexpr char kReplaced[] = "replaced ";
constexpr char kEnd[] = "end";
constexpr std::size_t kPathLimit = 4096;  // characters of a line

// Whether a path is a backup that the engine makes by itself.
bool isOwnBackup(const Session& session, const std::string& path) {
  if (session.format->ownBackup == nullptr) return false;
  const std::string name = session.places.temp + "/" + session.format->ownBackup;
  return path.compare(0, name.size(), name) == 0 &&
         path.find_first_not_of("0123456789", name.size()) == std::string::npos;
}

bool isConfiguredBackup(const Session& session, const std::string& path) {
  const Places& places = session.places;
  return places.backup && Backup(places, *session.format, *places.backup).place() == path;
}

}  // namespace

Installation::Installation(const Session& session)
    : session_(session),
      base_(session.places.base),
      index_(session.format->index),
      installed_(session.places.installed(index_)),
      downloaded_(session.places.downloaded(index_)),
      folder_(session.places.installed(journalName(index_))) {}

Installation::Installation(const Session& session, const std::vector<Wanted>& wanted)
    : Installation(session) {
  const char* const reason = write(wanted);
  isOpen_ = reason == nullptr;
  if (isOpen_) return;
  writeLog(session.log, "%sError writing %s (%s)\n", session.format->prefix, folder_.c_str(),
           reason);
  (void)discard(folder_);
}

// Null, or why the journal could not be written.
const char* Installation::write(const std::vector<Wanted>& wanted) const {
  if (!discard(folder_) || mkdir(folder_.c_str(), 0755) != 0) return std::strerror(errno);
  const auto copy = [this](const std::string& from, const char* to) {
    (void)copyFile(from, part(to));
    return hasSameContents(from, part(to));
  };
  if (!copy(downloaded_, "coming")) return "the new index could not be copied";
  if (isThere(installed_) && !copy(installed_, "before")) return "the index could not be copied";

  const std::string suffix = session_.format->suffix;
  const bool written = writePart("paths", [&](std::FILE* list) {
    const auto add = [&](const std::string& name) {
      std::fprintf(list, "%s%s\n", isThere(path(name)) ? kReplaced : kCreated, name.c_str());
    };
    for (const Wanted& file : wanted) {
      add(file.name);
      if (!suffix.empty()) add(file.name.substr(0, file.name.rfind(suffix)));
    }
    if (!hasSameContents(downloaded_, installed_)) add(index_);
    std::fprintf(list, "%s\n", kEnd);
  });
  return written ? nullptr : std::strerror(errno);
}

// The part is there only when it and everything before it is on the disk.
bool Installation::writePart(const char* name, const std::function<void(std::FILE*)>& write) const {
  const std::string made = part(name) + ".new";
  File file = openFile(made, "w");
  if (file == nullptr) return false;
  write(file.get());
  const bool written = std::ferror(file.get()) == 0;
  return std::fclose(file.release()) == 0 && written && syncFileSystem(folder_) &&
         std::rename(made.c_str(), part(name).c_str()) == 0 && syncDirectory(folder_);
}

// Hands each path to a function, until that returns false. Returns false then, and when the
// list is not complete.
bool Installation::eachPath(const UsePath& use) const {
  LineReader reader(part("paths"), kPathLimit);
  std::string line;
  while (reader.next(line)) {
    if (line == kEnd) return true;
    const bool created = line.rfind(kCreated, 0) == 0;
    if (!created && line.rfind(kReplaced, 0) != 0) return false;
    if (!use(created, line.substr(line.find(' ') + 1))) return false;
  }
  return false;
}

// Whether all of the journal is there, and it names paths of the database alone.
bool Installation::isSound() const {
  bool hadIndex = true;
  const auto isPath = [&](bool created, const std::string& name) {
    if (name == index_) hadIndex = !created;
    return name == index_ || (!name.empty() && isSafeName(name, index_));
  };
  return isDirectory(folder_) && eachPath(isPath) && isRegularFile(part("coming")) &&
         isRegularFile(part("before")) == hadIndex;
}

// Whether the index in the database is the one that was to come. One that does not change
// proves nothing.
bool Installation::hasArrived() const {
  bool changes = false;
  const auto isIndex = [&](bool /*created*/, const std::string& name) {
    changes = changes || name == index_;
    return true;
  };
  return eachPath(isIndex) && changes && hasSameContents(part("coming"), installed_);
}

std::optional<std::string> Installation::backup() const {
  LineReader reader(part("backup"), kPathLimit);
  std::string place;
  return reader.next(place) && !place.empty() ? std::optional(place) : std::nullopt;
}

bool Installation::needs(const Session& session, const Backup& backup) {
  const Installation left(session);
  return isThere(left.part("backup")) && left.backup().value_or(backup.place()) == backup.place();
}

int Installation::recover(const Session& session) {
  const Installation left(session);
  const std::string paths = left.part("paths");
  if (!isThere(paths) && (isDirectory(left.folder_) || !isThere(left.folder_))) {
    (void)discard(left.folder_);
    return kDone;
  }
  const std::optional<std::string> backup = left.backup();
  const auto tell = [&](const char* what) {
    writeLog(session.log, "%s%s in %s\n", session.format->prefix, what, left.base_.c_str());
  };
  bool done = true;
  // What is dropped is lost, and a read may fail for a moment: it is asked twice.
  if (!left.isSound() && !left.isSound()) {
    done = !isRegularFile(paths) || canBeRead(paths);
    if (done) tell("Invalid journal dropped");
  } else if (!left.hasArrived()) {
    done = left.undo(backup);
    if (done) tell("Unfinished installation undone");
  }
  done = done && left.close();
  if (done && backup && isOwnBackup(session, *backup)) removeTree(*backup);
  if (!done) tell("Error undoing an unfinished installation");
  return done ? kDone : kFailed;
}

// The index of before comes first: from then on the installation counts as not arrived,
// however far the rest comes. A backup with another index is of a later database, which was
// copied to that place since.
bool Installation::undo(const std::optional<std::string>& backup) const {
  const std::string named = part("backup");
  if (!putIndexBack() || !removeCreated() || (isThere(named) && !canBeRead(named))) return false;
  const bool counts = backup &&
                      (isOwnBackup(session_, *backup) || isConfiguredBackup(session_, *backup)) &&
                      compared(*backup + "/" + index_, installed_) != Comparison::Different;
  return !counts || copyBack(*backup, true);
}

void Installation::protectBy(const Backup& backup) {
  const bool isHeld = eachPath([&](bool created, const std::string& name) {
    return created || isSameEntry(backup.place() + "/" + name, path(name));
  });
  if (isHeld && syncFileSystem(backup.place()) &&
      writePart("backup", [&](std::FILE* file) { std::fputs(backup.place().c_str(), file); }))
    protectedBy_ = backup.place();
}

int Installation::installIndex() {
  if (!isOpen_ || !syncFileSystem(base_)) return kFailed;
  const int status = copyFile(downloaded_, installed_);
  isComplete_ = hasSameContents(downloaded_, installed_) && syncFileSystem(base_);
  (void)(isComplete_ ? close() : putIndexBack());
  return status;
}

bool Installation::putIndexBack() const {
  const std::string before = part("before");
  if (!isThere(before)) return removeFile(installed_) && syncDirectory(base_);
  if (!hasSameContents(before, installed_)) (void)copyFile(before, installed_);
  return hasSameContents(before, installed_) && syncFileSystem(base_);
}

bool Installation::removeCreated() const {
  return eachPath([this](bool created, const std::string& name) {
    return !created || isDirectory(path(name)) || removeFile(path(name));
  });
}

bool Installation::copyBack(const std::string& backup, bool mayLack) const {
  bool restored = true;
  const bool listed = eachPath([&](bool created, const std::string& name) {
    const std::string copy = backup + "/" + name;
    if (created || name == index_ || isSameEntry(copy, path(name))) return true;
    if (mayLack && !isThere(copy)) return true;
    (void)copyFile(copy, path(name));
    restored = isSameEntry(copy, path(name)) && restored;
    return true;
  });
  return listed && restored;
}

bool Installation::rollBack() const {
  if (!putIndexBack() || !protectedBy_ || !copyBack(*protectedBy_, false) || !syncFileSystem(base_))
    return false;
  const bool hasAdded = !eachPath(
      [this](bool created, const std::string& name) { return !created || !isThere(path(name)); });
  return hasAdded ? removeFile(part("backup")) : close();
}

bool Installation::close() const {
  if (!syncFileSystem(base_)) return false;
  if (isDirectory(folder_) && (!removeFile(part("paths")) || !syncDirectory(folder_))) return false;
  return discard(folder_);
}
