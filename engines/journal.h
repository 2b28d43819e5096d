// One installation: files and index of one version come in place of another. It keeps a
// journal, from which the next attempt undoes it when it did not come to its end.
//
// The journal is a folder ".NAME.journal" beside the index NAME:
//
//   paths    a line for each path that the installation writes: "created NAME" when
//            nothing was there before, "replaced NAME" otherwise. The index is the last of
//            them, if it changes. The last line is "end"
//   before   the index of before, unless there was none
//   coming   the index that is to be installed
//   backup   the directory that holds a copy of every replaced file; written once the
//            copies were compared and are on the disk
//
// The installation is open while `paths` exists. That file is renamed into place when the
// rest is on the disk, before the first change to the database. It is removed when the
// database is one version again and is on the disk. A folder without it says nothing.
#pragma once

#include "engines/index_name.h"
#include "engines/session.h"

class Installation {
 public:
  // Closes what an earlier run or attempt has left open: completes it when its index has
  // arrived, and otherwise undoes it. Afterwards the database is one version, but for files
  // without a copy and for files that the update had dropped before.
  //
  // Undoing means: the index of before comes back, files that were created are removed,
  // and files that were replaced and differ from their copy are copied back. A replaced
  // file without a copy stays. The copy counts only in the configured backup or in one
  // that the engine made by itself; the latter is removed in the end. What lies in the
  // journal's place and is no journal is dropped, with a line in the log.
  //
  // Returns kDone, or kFailed after a line in the log when something could not be done,
  // on a full disk for instance. Journal and backup are still there then.
  [[nodiscard]] static int recover(const Session& session);

  // Whether an open installation names the backup. Then no run may remove or replace it.
  static bool needsBackup(const Session& session);

  // Opens the journal for a change set and the downloaded index. The session outlives the
  // object.
  Installation(const Session& session, const std::vector<Wanted>& wanted);

  // False when the journal could not be written, after a line in the log: nothing in the
  // database may be changed then.
  bool isOpen() const { return isOpen_; }

  // Names the backup in the journal if there is one that can undo this installation: it holds a
  // copy of every file that will be replaced, and all of it is on the disk. Call it before the
  // first file is replaced. When the backup cannot be synced or named, the installation is
  // closed, after a line in the log. A backup that lacks a file only leaves isProtected() false.
  void protect();
  bool isProtected() const { return isProtected_; }

  // Copies the downloaded index into its place, after all files, and returns what
  // system() does for that copy. The installation is complete when the copy has the
  // downloaded bytes and everything is on the disk; it is closed then. Otherwise the index
  // of before is put back and the installation stays open. Only isComplete() tells success;
  // the returned status is for the log.
  [[nodiscard]] int installIndex();
  bool isComplete() const { return isComplete_; }

  // Puts the index of before back; where there was none, removes the new one. Returns
  // whether that is so on the disk.
  bool putIndexBack() const;

  // Undoes the installation, also its index, but keeps the files that it has added. If it has added
  // none, it is closed; otherwise it stays open, and the next recovery removes them. Returns false
  // when something could not be brought back. A new engine calls recover() instead, which removes
  // added files at once.
  [[nodiscard]] bool rollBack() const;

  // Closes an installation whose files are one version. Returns whether they are on the
  // disk and the journal is gone; otherwise the next recovery goes on.
  bool close() const;

 private:
  enum class Found { Journal, Other, Unreadable };
  enum class Restored { All, InPart, Not };  // InPart: files without a copy stayed
  struct Path {
    std::string name;
    bool created;
  };

  explicit Installation(const Session& session) : session_(session) {}
  std::string part(const char* name) const { return folder_ + "/" + name; }
  std::string path(const std::string& name) const { return session_.places.installed(name); }

  const char* write(const std::vector<Wanted>& wanted);
  void giveUp(const char* reason);
  bool writePart(const char* name, const std::string& text) const;
  Found read();
  bool changesIndex() const { return !paths_.empty() && paths_.back().name == index_; }
  std::optional<std::string> backup() const;
  Restored undo(const std::optional<std::string>& backup) const;
  bool isRestored(const std::string& name, bool is) const;
  Restored copyBack(const std::string& backup) const;
  bool sync() const;

  const Session& session_;
  const std::string base_ = session_.places.base;
  const std::string index_ = session_.format->index;
  const std::string installed_ = session_.places.installed(index_);  // path of the installed index
  const std::string downloaded_ = session_.places.downloaded(index_);  // path of the one that comes
  const std::string folder_ = session_.places.installed(journalName(index_));
  std::vector<Path> paths_;  // as the journal lists them
  bool isOpen_ = false;
  bool isProtected_ = false;
  bool isComplete_ = false;
};
