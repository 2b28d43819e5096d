#include "engines/journal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "engines/index_name.h"
#include "engines/text_lines.h"
#include "system/file_commands.h"

namespace {

constexpr char kCreated[] = "created ";
constexpr char kReplaced[] = "replaced ";
constexpr char kEnd[] = "end";
constexpr std::size_t kPathLimit = 4096;  // characters of a line

// The journal's folder, and the database that it is about.
class Journal {
 public:
  Journal(const Places& places, const EngineFormat& format)
      : base_(places.base),
        index_(format.index),
        installed_(places.installed(index_)),
        suffix_(format.suffix),
        folder_(places.installed(journalName(index_))) {}

  const std::string& folder() const { return folder_; }

  // Writes the journal. Returns null, or why it could not be written.
  const char* open(const std::vector<Wanted>& wanted, const std::string& coming) const;

  // Whether anything but the remains of a journal lies in its place.
  bool exists() const;
  // Whether it can be trusted: all of it is there, and it names paths of the database.
  bool isSound() const;

  [[nodiscard]] bool setBackup(const std::string& place) const;
  std::optional<std::string> backup() const;
  bool forgetBackup() const { return removeFile(part("backup")); }

  // Whether the index in the database is the one that was to come. Where it was the one
  // of before, too, it proves nothing.
  bool isComplete() const;

  // The steps of undoing, in this order: once the index of before is back and on the
  // disk, the installation no longer counts as complete.
  bool putIndexBack() const;
  bool removeCreated() const;
  // A replaced file without a copy stays; `lacking` tells that there is one.
  bool copyBack(const std::string& backup, bool& lacking) const;

  // Whether a directory holds what is in the database now: every file that will be
  // replaced, and the index; or the index alone.
  bool isHeldBy(const std::string& directory) const;
  bool indexIsHeldBy(const std::string& directory) const;
  bool hasCreated() const;

  // Everything in the database is on the disk when it goes.
  [[nodiscard]] bool close() const;

 private:
  using UsePath = std::function<bool(const std::string& name)>;

  std::string part(const char* name) const { return folder_ + "/" + name; }
  bool writePart(const char* name, const std::function<void(std::FILE*)>& write) const;
  bool writePaths(const std::vector<Wanted>& wanted) const;

  // Hands each path of one kind to a function, until that returns false. Returns false
  // then, and when the list is not complete.
  bool eachPath(const char* kind, const UsePath& use) const;

  const std::string base_;
  const std::string index_;
  const std::string installed_;
  const std::string suffix_;
  const std::string folder_;
};

// The part is complete on the disk, or it does not exist.
bool Journal::writePart(const char* name, const std::function<void(std::FILE*)>& write) const {
  const std::string made = part(name) + ".new";
  File file = openFile(made, "w");
  if (file == nullptr) return false;
  write(file.get());
  const bool written = std::ferror(file.get()) == 0;
  return std::fclose(file.release()) == 0 && written && syncFileSystem(folder_) &&
         std::rename(made.c_str(), part(name).c_str()) == 0 && syncDirectory(folder_);
}

bool Journal::writePaths(const std::vector<Wanted>& wanted) const {
  return writePart("paths", [&](std::FILE* list) {
    const auto write = [&](const std::string& name) {
      std::fprintf(list, "%s%s\n", isThere(base_ + "/" + name) ? kReplaced : kCreated,
                   name.c_str());
    };
    for (const Wanted& file : wanted) {
      write(file.name);
      if (!suffix_.empty()) write(file.name.substr(0, file.name.rfind(suffix_)));
    }
    write(index_);
    std::fprintf(list, "%s\n", kEnd);
  });
}

const char* Journal::open(const std::vector<Wanted>& wanted, const std::string& coming) const {
  if (!discard(folder_) || mkdir(folder_.c_str(), 0755) != 0) return std::strerror(errno);
  const auto copy = [this](const std::string& from, const char* to) {
    (void)copyFile(from, part(to));
    return hasSameContents(from, part(to));
  };
  if (!copy(coming, "coming")) return "the new index could not be copied";
  if (isThere(installed_) && !copy(installed_, "before")) return "the index could not be copied";
  return writePaths(wanted) ? nullptr : std::strerror(errno);
}

bool Journal::exists() const {
  return isThere(folder_) && (!isDirectory(folder_) || isThere(part("paths")));
}

bool Journal::eachPath(const char* kind, const UsePath& use) const {
  LineReader reader(part("paths"), kPathLimit);
  std::string line;
  while (reader.next(line)) {
    if (line == kEnd) return true;
    const std::string name = line.substr(line.find(' ') + 1);
    const bool isKind = line == kind + name;
    if (!isKind && line != kCreated + name && line != kReplaced + name) return false;
    if (isKind && !use(name)) return false;
  }
  return false;
}

bool Journal::isSound() const {
  const auto isPath = [this](const std::string& name) {
    return name == index_ || (!name.empty() && isSafeName(name, index_));
  };
  bool indexIsReplaced = false;
  const auto isReplacedPath = [&](const std::string& name) {
    indexIsReplaced = indexIsReplaced || name == index_;
    return isPath(name);
  };
  return isDirectory(folder_) && eachPath(kCreated, isPath) &&
         eachPath(kReplaced, isReplacedPath) && isRegularFile(part("coming")) &&
         isRegularFile(part("before")) == indexIsReplaced;
}

bool Journal::setBackup(const std::string& place) const {
  return writePart("backup", [&](std::FILE* file) { std::fputs(place.c_str(), file); });
}

std::optional<std::string> Journal::backup() const {
  LineReader reader(part("backup"), kPathLimit);
  std::string place;
  return reader.next(place) && !place.empty() ? std::optional(place) : std::nullopt;
}

bool Journal::isComplete() const {
  return hasSameContents(part("coming"), installed_) &&
         !hasSameContents(part("coming"), part("before"));
}

bool Journal::putIndexBack() const {
  const std::string before = part("before");
  if (!isThere(before)) return removeFile(installed_) && syncDirectory(base_);
  if (!hasSameContents(before, installed_)) (void)copyFile(before, installed_);
  return hasSameContents(before, installed_) && syncFileSystem(base_);
}

bool Journal::removeCreated() const {
  return eachPath(kCreated, [this](const std::string& name) {
    const std::string path = base_ + "/" + name;
    return isDirectory(path) || removeFile(path);
  });
}

bool Journal::copyBack(const std::string& backup, bool& lacking) const {
  bool restored = true;
  const bool listed = eachPath(kReplaced, [&](const std::string& name) {
    const std::string copy = backup + "/" + name;
    const std::string path = base_ + "/" + name;
    if (name == index_ || isSameEntry(copy, path)) return true;
    if (isThere(copy)) {
      (void)copyFile(copy, path);
      restored = isSameEntry(copy, path) && restored;
    } else {
      lacking = true;
    }
    return true;
  });
  return listed && restored;
}

bool Journal::isHeldBy(const std::string& directory) const {
  return eachPath(kReplaced, [&](const std::string& name) {
    return isSameEntry(directory + "/" + name, base_ + "/" + name);
  });
}

bool Journal::indexIsHeldBy(const std::string& directory) const {
  return !isThere(installed_) || isSameEntry(directory + "/" + index_, installed_);
}

bool Journal::hasCreated() const {
  return !eachPath(kCreated,
                   [this](const std::string& name) { return !isThere(base_ + "/" + name); });
}

bool Journal::close() const {
  if (isDirectory(folder_) && (!removeFile(part("paths")) || !syncDirectory(folder_))) return false;
  return discard(folder_);
}

// Whether a path is a backup that the engine makes by itself.
bool isOwnBackup(const Places& places, const EngineFormat& format, const std::string& path) {
  if (format.ownBackup == nullptr) return false;
  const std::string name = places.temp + "/" + format.ownBackup;
  return path.compare(0, name.size(), name) == 0 &&
         path.find_first_not_of("0123456789", name.size()) == std::string::npos;
}

}  // namespace

std::optional<std::string> journalledBackup(const Places& places, const EngineFormat& format) {
  const Journal journal(places, format);
  return journal.exists() ? journal.backup() : std::nullopt;
}

int recover(const Session& session) {
  const Places& places = session.places;
  const EngineFormat& format = *session.format;
  const Journal journal(places, format);
  const auto fail = [&] {
    writeLog(session.log, "%sError undoing an unfinished installation in %s\n", format.prefix,
             places.base.c_str());
    return kFailed;
  };
  if (!journal.exists()) {
    (void)discard(journal.folder());
    return kDone;
  }
  if (!journal.isSound()) {
    writeLog(session.log, "%sInvalid journal %s dropped\n", format.prefix,
             journal.folder().c_str());
    return journal.close() ? kDone : fail();
  }

  const std::optional<std::string> backup = journal.backup();
  const bool isOwn = backup && isOwnBackup(places, format, *backup);
  const bool isConfigured =
      backup && places.backup && Backup(places, format, *places.backup).place() == *backup;
  const bool undoes = !journal.isComplete();
  if (undoes) {
    if (!journal.putIndexBack() || !journal.removeCreated()) return fail();
    // Another run may have made its own backup there since, of a later database.
    bool lacking = false;
    if ((isOwn || isConfigured) && journal.indexIsHeldBy(*backup) &&
        !journal.copyBack(*backup, lacking))
      return fail();
  }
  if (!syncFileSystem(places.base) || !journal.close()) return fail();
  if (isOwn) removeTree(*backup);
  if (undoes) writeLog(session.log, "%sUnfinished installation undone\n", format.prefix);
  return kDone;
}

Installation::Installation(const Session& session, const std::vector<Wanted>& wanted,
                           const std::string& downloadedIndex)
    : session_(session), downloaded_(downloadedIndex) {
  const Journal journal(session.places, *session.format);
  const char* const reason = journal.open(wanted, downloadedIndex);
  isOpen_ = reason == nullptr;
  if (isOpen_) return;
  writeLog(session.log, "%sError writing %s (%s)\n", session.format->prefix,
           journal.folder().c_str(), reason);
  (void)discard(journal.folder());
}

bool Installation::protectBy(const Backup& backup) {
  const Journal journal(session_.places, *session_.format);
  if (isOpen_ && journal.isHeldBy(backup.place()) && syncFileSystem(backup.place()) &&
      journal.setBackup(backup.place()))
    protectedBy_ = backup.place();
  return isProtected();
}

int Installation::installIndex() {
  const Places& places = session_.places;
  const Journal journal(places, *session_.format);
  if (!isOpen_ || !syncFileSystem(places.base)) return kFailed;
  const std::string installed = places.installed(session_.format->index);
  const int status = copyFile(downloaded_, installed);
  isComplete_ = hasSameContents(downloaded_, installed) && syncFileSystem(places.base);
  // What cannot be closed now is closed by the next recovery.
  (void)(isComplete_ ? journal.close() : journal.putIndexBack());
  return status;
}

bool Installation::putIndexBack() const {
  return Journal(session_.places, *session_.format).putIndexBack();
}

bool Installation::rollBack() {
  const Journal journal(session_.places, *session_.format);
  bool lacking = false;
  if (!journal.putIndexBack() || !protectedBy_ || !journal.copyBack(*protectedBy_, lacking) ||
      lacking || !syncFileSystem(session_.places.base))
    return false;
  (void)(journal.hasCreated() ? journal.forgetBackup() : journal.close());
  return true;
}

void Installation::close() {
  if (syncFileSystem(session_.places.base))
    (void)Journal(session_.places, *session_.format).close();
}
