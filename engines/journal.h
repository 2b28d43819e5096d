// The journal of an installation, and the recovery from it.
//
// While files of the database are replaced there is a folder ".NAME.journal" beside the
// index NAME. It says how the database becomes the one from before again:
//
//   paths    a line for each path that the installation writes, the index among them:
//            "created NAME" when nothing was there before, "replaced NAME" otherwise;
//            the last line is "end"
//   before   the index of before, unless there was none
//   coming   the index that is to be installed
//   backup   the directory that holds a copy of every replaced file; written once the
//            copies were compared and are on the disk
//
// The installation is open while `paths` exists. That file is renamed into place when the
// rest is on the disk, before the first change to the database. It is removed when the
// database is one version again and is on the disk. A folder without it says nothing.
#pragma once

#include "engines/backup.h"
#include "engines/session.h"

// Closes an installation that an earlier run or attempt has left open: completes it when
// its index has arrived, and otherwise undoes it. Afterwards the database is one version.
//
// Undoing means: the index of before comes back, files that were created are removed, and
// files that were replaced and differ from their copy are copied back. A replaced file
// without a copy stays. The copy counts only in the configured backup or in one that the
// engine made by itself; the latter is removed in the end. What lies in the journal's
// place and is no journal is dropped, with a line in the log.
//
// Returns kDone, or kFailed after a line in the log when something could not be done, on
// a full disk for instance. The journal and the backup are then as before.
[[nodiscard]] int recover(const Session& session);

// The backup that an open installation names. No run may remove or replace it.
std::optional<std::string> journalledBackup(const Places& places, const EngineFormat& format);

// One installation: the index and files of one version come in place of another.
class Installation {
 public:
  // Opens the journal for a change set. The session outlives the object.
  Installation(const Session& session, const std::vector<Wanted>& wanted,
               const std::string& downloadedIndex);

  // False when the journal could not be written, after a line in the log: nothing in the
  // database may be changed then.
  bool isOpen() const { return isOpen_; }

  // Names the backup in the journal if it can undo this installation: it holds a copy of
  // every file that will be replaced, and all of it is on the disk. Asked for before the
  // first file is replaced. Returns whether it does.
  bool protectBy(const Backup& backup);
  bool isProtected() const { return protectedBy_.has_value(); }

  // Copies the downloaded index into its place, after all files, and returns what
  // system() does for that copy. The installation counts as complete when the copy has
  // the downloaded bytes and everything is on the disk; the journal goes then. Otherwise
  // the index of before is put back and the installation stays open.
  [[nodiscard]] int installIndex();
  bool isComplete() const { return isComplete_; }

  // Puts the index of before back, if there was one. Returns whether it is there.
  bool putIndexBack() const;

  // Undoes the installation, but keeps files that it has added. The journal goes when
  // there are none; otherwise the next recovery removes them. Returns false when a
  // replaced file could not be brought back.
  [[nodiscard]] bool rollBack();

  // Closes an installation whose files were put back.
  void close();

 private:
  const Session& session_;
  const std::string downloaded_;
  std::optional<std::string> protectedBy_;
  bool isOpen_ = false;
  bool isComplete_ = false;
};
