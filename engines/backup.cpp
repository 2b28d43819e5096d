#include "engines/backup.h"

#include <unistd.h>

#include <filesystem>
#include <utility>

#include "engines/index_set_aside.h"
#include "system/command.h"
#include "system/shell_word.h"

namespace fs = std::filesystem;

namespace {

// The scanner's own cache, which changes at any time.
constexpr char kCache[] = "Plugins/cache.000";

// Whether each of two entries is the same file, link or directory.
bool isSameEntry(const fs::directory_entry& a, const fs::path& b) {
  std::error_code error;
  const fs::file_type type = a.symlink_status(error).type();
  if (type != fs::symlink_status(b, error).type()) return false;
  if (type == fs::file_type::symlink)
    return fs::read_symlink(a, error) == fs::read_symlink(b, error);
  return type != fs::file_type::regular || hasSameContents(a.path(), b);
}

// Whether every file of a directory is the same in another one; false also when
// one cannot be read.
bool holdsAllOf(const std::string& directory, const std::string& of, const std::string& waiting) {
  std::error_code error;
  fs::recursive_directory_iterator entry(of, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const fs::path name = entry->path().lexically_relative(of);
    if (name != kCache && name != waiting && !isSameEntry(*entry, directory / name)) return false;
  }
  return !error;
}

}  // namespace

Backup::Backup(const Session& session, std::string place)
    : base_(session.basePath),
      place_(std::move(place)),
      waiting_(waitingName(session.format->index)) {}

int Backup::take() {
  const bool cleared = !exists();
  const int status = copyTree(base_, place_);
  unlink((place_ + "/" + waiting_).c_str());
  isCopied_ = status == 0 && cleared;
  return status;
}

bool Backup::isWhole() {
  holdsFiles_ = exists() && !isEmptyDirectory(place_);
  return isCopied_ || (holdsAllOf(place_, base_, waiting_) && holdsAllOf(base_, place_, waiting_));
}

int Backup::copyBack() const {
  return runInstallation("cp -prf " + shellWord(place_) + "/* " + shellWord(base_) + kQuietly);
}

// A place that is empty now and was not is gone, an unmounted disk for instance:
// copying that would be a success without effect. The first copy may fail for want
// of space that it makes itself, where one file has grown and another shrunk, or for
// more files than a command line holds.
bool Backup::restore() const {
  const auto isBack = [this](int status) {
    return status == 0 || holdsAllOf(base_, place_, waiting_);
  };
  const bool isThere = exists() && isEmptyDirectory(place_) != holdsFiles_;
  bool restored = isBack(copyBack());
  if (isThere && !restored)
    restored = isBack(
        runInstallation("cp -prf " + shellWord(place_ + "/.") + " " + shellWord(base_) + kQuietly));
  return syncFileSystem(base_) && isThere && restored;
}
