#include "engines/journal.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "engines/backup.h"
#include "engines/text_lines.h"
#include "system/file_commands.h"

namespace fs = std::filesystem;

namespace {

constexpr char kCreated[] = "created ";
constexpr char kReplaced[] = "replaced ";
constexpr char kEnd[] = "end";
constexpr std::size_t kPathLimit = 4096;  // characters of a line

bool isConfiguredBackup(const Session& session, const std::string& path) {
  return session.places.backup && backupPlace(session.places) == path;
}

// Whether a path is a backup that the engine makes by itself.
bool isOwnBackup(const Session& session, const std::string& path) {
  if (session.format->ownBackup == nullptr || isConfiguredBackup(session, path)) return false;
  const std::string name = session.places.temp + "/" + session.format->ownBackup;
  return path.compare(0, name.size(), name) == 0 &&
         path.find_first_not_of("0123456789", name.size()) == std::string::npos;
}

}  // namespace

Installation::Installation(const Session& session, const std::vector<Wanted>& wanted)
    : Installation(session) {
  const char* const reason = write(wanted);
  isOpen_ = reason == nullptr;
  if (!isOpen_) giveUp(reason);
}

// Writes the journal. Returns null, or the reason why that failed.
const char* Installation::write(const std::vector<Wanted>& wanted) {
  if (isDirectory(installed_)) return "the index is a directory";
  if (!discard(folder_) || mkdir(folder_.c_str(), 0755) != 0) return std::strerror(errno);
  const auto copy = [this](const std::string& from, const char* to) {
    (void)copyFile(from, part(to));
    return hasSameContents(from, part(to));
  };
  if (!copy(downloaded_, "coming")) return "the new index could not be copied";
  // An installed index that cannot be read counts as none. Otherwise it would keep a good
  // index out for ever.
  if (isThere(installed_) && !copy(installed_, "before") &&
      (canBeRead(installed_) || !removeFile(part("before"))))
    return "the index could not be copied";

  const std::string suffix = session_.format->suffix;
  const auto add = [this](const std::string& name) {
    paths_.push_back({name, !isThere(path(name))});
  };
  for (const Wanted& file : wanted) {
    add(file.name);
    if (!suffix.empty()) add(file.name.substr(0, file.name.rfind(suffix)));
  }
  // An index that does not change is not listed, so that it proves nothing later.
  const bool hasBefore = isThere(part("before"));
  if (!hasBefore || compared(part("before"), part("coming")) == Comparison::Different)
    paths_.push_back({index_, !hasBefore});
  std::string list;
  for (const Path& path : paths_) list += (path.created ? kCreated : kReplaced) + path.name + "\n";
  return writePart("paths", list + kEnd + "\n") ? nullptr : std::strerror(errno);
}

// Writes a part of the journal. It gets its name when it, and all that was written before
// it, is on the disk.
bool Installation::writePart(const char* name, const std::string& text) const {
  const std::string made = part(name) + ".new";
  File file = openFile(made, "w");
  if (file == nullptr) return false;
  const bool written = std::fputs(text.c_str(), file.get()) >= 0;
  return std::fclose(file.release()) == 0 && written && syncFileSystem(folder_) &&
         std::rename(made.c_str(), part(name).c_str()) == 0 && syncDirectory(folder_);
}

// Reads the list. A journal is complete and names only paths of the database.
Installation::Found Installation::read() {
  LineReader reader(part("paths"), kPathLimit);
  std::string line;
  while (reader.next(line) && line != kEnd) {
    const bool created = line.rfind(kCreated, 0) == 0;
    const std::string name = line.substr(line.find(' ') + 1);
    const bool isPath = name == index_ || (!name.empty() && isSafeName(name, index_));
    if (!isPath || (!created && line.rfind(kReplaced, 0) != 0)) break;
    paths_.push_back({name, created});
  }
  if (reader.failed() && isRegularFile(part("paths"))) return Found::Unreadable;
  const bool hadIndex = !changesIndex() || !paths_.back().created;
  return line == kEnd && isDirectory(folder_) && isRegularFile(part("coming")) &&
                 isRegularFile(part("before")) == hadIndex
             ? Found::Journal
             : Found::Other;
}

std::optional<std::string> Installation::backup() const {
  LineReader reader(part("backup"), kPathLimit);
  std::string place;
  return reader.next(place) && !place.empty() ? std::optional(place) : std::nullopt;
}

bool Installation::needsBackup(const Session& session) {
  const Installation left(session);
  const std::optional<std::string> named = left.backup();
  return isThere(left.part("paths")) && isThere(left.part("backup")) &&
         (!named || named == backupPlace(session.places));
}

int Installation::recover(const Session& session) {
  Installation left(session);
  const std::optional<std::string> backup = left.backup();
  const bool isOwn = backup && isOwnBackup(session, *backup);
  if (!isThere(left.part("paths")) && (isDirectory(left.folder_) || !isThere(left.folder_))) {
    // A kill may have come when the installation was closed.
    if (isOwn) removeTree(*backup);
    (void)discard(left.folder_);
    return kDone;
  }
  const auto tell = [&](const char* what) {
    writeLog(session.log, "%s%s in %s\n", session.format->prefix, what, left.base_.c_str());
  };
  const Found found = left.read();
  bool done = found != Found::Unreadable;
  if (found == Found::Other) {
    tell("Invalid journal dropped");
  } else if (done && left.changesIndex() && hasSameContents(left.part("coming"), left.installed_)) {
    // It has arrived; an index that does not change would prove nothing. cp sets permissions
    // last. A kill may have come before that.
    takeMode(left.part("coming"), left.installed_);
  } else if (done) {
    const Restored restored = left.undo(backup);
    done = restored != Restored::Not;
    if (restored == Restored::All) tell("Unfinished installation undone");
    if (restored == Restored::InPart)
      tell("Unfinished installation undone, but for files without a copy,");
  }
  done = done && left.close();
  if (done && isOwn) removeTree(*backup);
  if (!done) tell("Error undoing an unfinished installation");
  return done ? kDone : kFailed;
}

// Files that were created go first: that makes space for the index. A backup with another
// index is not used, because somebody has copied a later database to its place.
Installation::Restored Installation::undo(const std::optional<std::string>& backup) const {
  for (const auto& [name, created] : paths_)
    if (created && !isDirectory(path(name)) && !isRestored(name, removeFile(path(name))))
      return Restored::Not;
  if (!isRestored(index_, putIndexBack()) || (!backup && hasContents(part("backup"))))
    return Restored::Not;
  const bool counts = backup &&
                      (isOwnBackup(session_, *backup) || isConfiguredBackup(session_, *backup)) &&
                      compared(*backup + "/" + index_, installed_) != Comparison::Different;
  return copyBack(counts ? *backup : "");
}

// Returns `is`, and writes a line to the log when that is false.
bool Installation::isRestored(const std::string& name, bool is) const {
  if (!is)
    writeLog(session_.log, "%sError restoring %s\n", session_.format->prefix, path(name).c_str());
  return is;
}

void Installation::protect() {
  const std::optional<std::string> backup = backupPlace(session_.places);
  const auto isHeld = [&](const Path& file) {
    return file.created || isSameEntry(*backup + "/" + file.name, path(file.name));
  };
  // A backup that could not be made holds nothing, also where nothing is to be replaced.
  if (!isOpen_ || !backup || !isThere(*backup) ||
      !std::all_of(paths_.begin(), paths_.end(), isHeld))
    return;
  isProtected_ = syncFileSystem(*backup) && writePart("backup", *backup);
  if (!isProtected_) giveUp(std::strerror(errno));
}

// No file has been written yet.
void Installation::giveUp(const char* reason) {
  writeLog(session_.log, "%sError writing %s (%s)\n", session_.format->prefix, folder_.c_str(),
           reason);
  isOpen_ = false;
  (void)close();
}

int Installation::installIndex() {
  if (!isOpen_ || !sync()) return kFailed;
  const int status = copyFile(downloaded_, installed_);
  isComplete_ = hasSameContents(downloaded_, installed_) && sync();
  (void)(isComplete_ ? close() : putIndexBack());
  return status;
}

bool Installation::putIndexBack() const {
  const std::string before = part("before");
  if (!isThere(before))
    return isThere(part("paths")) && removeFile(installed_) && syncDirectory(base_);
  // cp would empty the index before it finds that this one cannot be read.
  if (!hasSameContents(before, installed_) && canBeRead(before)) (void)copyFile(before, installed_);
  takeMode(before, installed_);
  return hasSameContents(before, installed_) && sync();
}

// Where a folder of the database is a link, the backup leads to the same file. That is no
// copy.
Installation::Restored Installation::copyBack(const std::string& backup) const {
  Restored restored = Restored::All;
  std::error_code error;
  for (const auto& [name, created] : paths_) {
    const std::string copy = backup + "/" + name;
    if (created || name == index_) continue;
    if (backup.empty() || !isThere(copy) || fs::equivalent(copy, path(name), error)) {
      restored = std::max(restored, Restored::InPart);
      continue;
    }
    // cp would empty the file before it finds that the copy cannot be read.
    if (!isSameEntry(copy, path(name)) && (isSymbolicLink(copy) || isPipe(copy) || canBeRead(copy)))
      copyEntry(copy, path(name));
    takeMode(copy, path(name));
    if (!isRestored(name, isSameEntry(copy, path(name)))) restored = Restored::Not;
  }
  return restored;
}

bool Installation::rollBack() const {
  if (!isRestored(index_, putIndexBack()) || !isProtected_ ||
      copyBack(*backupPlace(session_.places)) != Restored::All || !sync())
    return false;
  return std::any_of(
             paths_.begin(), paths_.end(),
             [this](const Path& file) { return file.created && isThere(path(file.name)); }) ||
         close();
}

// A folder of the database may lie on another file system, and so may a linked index.
bool Installation::sync() const {
  std::error_code error;
  std::set<std::string> folders{base_, fs::weakly_canonical(installed_, error).parent_path()};
  for (const Path& file : paths_)
    folders.insert(path(file.name).substr(0, path(file.name).rfind('/')));
  return std::all_of(folders.begin(), folders.end(), [&](const std::string& folder) {
    return !fs::is_directory(folder, error) || syncFileSystem(folder);
  });
}

bool Installation::close() const {
  if (!sync()) return false;
  if (!isDirectory(folder_)) return discard(folder_);
  if (!removeFile(part("paths")) || !syncDirectory(folder_)) return false;
  (void)discard(folder_);
  return true;
}
