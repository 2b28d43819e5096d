// The updater for BitDefender-format bases. Their index is versions.dat.
#pragma once

#include "engines/attempt.h"
#include "engines/backup.h"
#include "engines/bd/utils.h"
#include "engines/bd/versions_index.h"

inline constexpr EngineFormat kBdFormat{
    2,     3,        "LOG: ", "versions.dat", ".gzip",      "avbackdir", "Plugins",
    false, SIZE_MAX, false,   "parameters",   readVersions, md5Of};

// One database file, as the index lists it. Lists of entries hold them in its order.
struct __QX_AvEntry {     // NOLINT(bugprone-reserved-identifier): the record's published name
  std::string fileName;   // below basePath; in a change set with ".gzip" appended
  std::string md5;        // of the uncompressed file, 32 lower-case digits to match one
  std::int32_t size = 0;  // bytes, as listed; feeds the progress display alone
};

// Used in this order: construct, setValues, setCallback, updateNow, destroy.
//
// Owns copies of the settings. Borrows the log and the callback's user pointer. Main thread
// only. Operations that return int give 0 for success, 2 after a cancel by the callback or by
// DownCancelled, and a negative number for a failure, which the log explains. Without
// settings, or after refused settings, nothing is fetched or changed anywhere.
class QX_BDUpdater {
 public:
  // Failed downloads, by cause.
  static constexpr int DownloadErrGeneric = -1;     // not recognised, or the file is missing
  static constexpr int DownloadErrServer = -3;      // the server does not have the file
  static constexpr int DownloadErrProxy = -5;       // refused, with a proxy in use
  static constexpr int DownloadErrConnection = -6;  // refused without one, or timed out

  QX_BDUpdater() = default;
  // Constructs and sets the values. A failure shows in updateNow().
  QX_BDUpdater(QX_AVUpdateLog* log, const char* basePath, const char* tempPath,
               const char* backupPath, unsigned char useProxy, unsigned char proxyAuth,
               const char* proxyServer, unsigned int proxyPort, const char* proxyUser,
               const char* proxyPassword, unsigned char timeout, unsigned char useHttps,
               unsigned char retries, const char* serverList) {
    setValues({log, basePath, tempPath, backupPath, useProxy, proxyAuth, proxyServer, proxyPort,
               proxyUser, proxyPassword, timeout, useHttps, retries, serverList});
  }
  QX_BDUpdater(const QX_BDUpdater&) = delete;
  QX_BDUpdater& operator=(const QX_BDUpdater&) = delete;

  // Replaces the whole configuration, also the callback. Makes a missing temp directory and
  // exports the proxy to the environment. `log` may be null. `backupPath` may be null: the
  // run then chooses a place and removes it again. A proxy value may be null when no flag
  // asks for it. `timeout` is in seconds, at least 5. `retries` are the tries per download,
  // 2 to 5.
  //
  // Returns 0; -1 when a value is missing (the object is untouched then), when the temp
  // directory cannot be made or memory runs out; -3 when the list holds no usable server.
  // After the last three the object refuses to run.
  int setValues(QX_AVUpdateLog* log, const char* basePath, const char* tempPath,
                const char* backupPath, unsigned char useProxy, unsigned char proxyAuth,
                const char* proxyServer, unsigned int proxyPort, const char* proxyUser,
                const char* proxyPassword, unsigned char timeout, unsigned char useHttps,
                unsigned char retries, const char* serverList) {
    return setValues({log, basePath, tempPath, backupPath, useProxy, proxyAuth, proxyServer,
                      proxyPort, proxyUser, proxyPassword, timeout, useHttps, retries, serverList});
  }
  int setValues(const EngineSettings& settings);

  // Returns 0, or -1 for a null callback, which changes nothing.
  int setCallback(UpdateProgressCallback callback, void* data) {
    return session.watch(callback, data);
  }

  // Releases the configuration and takes the proxy out of the environment.
  void DeallocMemory() { session = Session(kBdFormat); }

  // Makes the working directories, tries the servers in turn until one attempt completes,
  // and removes the directories. Returns 0 when an attempt completed, also when its
  // downloads or its installation failed; 2 when the run was cancelled; -1 when no attempt
  // completed, when the object is not configured, or when the directories are not apart; -4
  // when the working directories could not be made.
  int updateNow();

  // Runs one attempt: index, change set, downloads, backup, installation with decompression
  // and digest check, new index, clean-up. A failed installation is undone from the backup.
  // Returns 0 when the database is up to date, or when the downloads began and were not
  // cancelled; -1 for a failure before that; 2 for a cancel.
  int UpdatePerServer(const char* server);

  // Fetches `file` from the server's directory `server` into the working directory. `size`
  // is the listed size in bytes; it is counted when the file is there. With `notify` the
  // callback gets events. Returns 0; 2 when cancelled; -1 without a message when no file
  // came; the result of DownloadError() for an empty file. The size is not compared: the
  // digest is judged later.
  int DownloadFile(const char* server, const char* file, unsigned int size, bool notify);

  // Finds the cause of a failed download in wget's messages. Reports it to callback and log
  // and returns one of the DownloadErr codes.
  int DownloadError(const char* file);

  // Makes a missing base directory. Makes the working directory, into which files are
  // fetched from then on. Chooses a backup directory when none is configured. Returns 0, or
  // -1 after a line in the log; -1 without settings.
  int MakeDirs();

  // Removes the directories of MakeDirs() and of the run; harmless when repeated. A
  // configured backup stays, without Plugins/cache.000. A backup that an open installation
  // needs stays, too. Returns the status of the last removal, 0 without settings.
  int RemoveDirs();

  // Copies the bases to the backup directory, in place of an older copy. Returns
  // the copy's status; negative when it could not be begun.
  int GetCurrentAVBackup() { return takeBackup(session); }

  // Copies the backup over the bases. Returns the copy's status, -1 without a
  // backup directory.
  int RevertCurrentBackup() { return restoreBackup(session); }

  // Removes the backup directory. Returns the removal's status, 0 when there is
  // nothing to remove.
  int DeleteCurrentBackup() { return removeBackup(session); }

  // Reads the entries of an index; DownCancelled ends the reading early. Returns
  // their number, or -1 when the file cannot be read; the list is then as it was.
  static int GetDownloadList(const char* path, std::vector<__QX_AvEntry>& list);

  // Works out what to download and appends it to the change set, with ".gzip" names;
  // the sum of the listed sizes goes to `total`. With an installed index a file is
  // wanted when it is missing, listed with another digest, or other than its digest
  // says; what the installed index does not know is left alone. Without one (null) a
  // file is wanted when it is missing or other than its digest says.
  //
  // Returns 0; 2 when DownCancelled was seen; -1 when an index cannot be read or
  // the downloaded one lists a name that leads out of the database. `total` is
  // written only with 0.
  int AddToDownload(const char* newIndex, const char* oldIndex,
                    std::vector<__QX_AvEntry>& downloadList, std::int32_t* total) const;

 private:
  Transfer transfer(const std::string& server, const char* file, bool mustBeWhole);

  // The steps of an attempt. backUp() and installFile() tell the watcher of a failure, and
  // return whether they went well.
  int findChanges(Attempt& attempt);
  bool backUp();
  void install(const Attempt& attempt);
  bool installFile(const Wanted& file) const;
  void undo(Installation& installation);

  Session session{kBdFormat};
  bool baseCreated = false;  // by this run: there is nothing to back up
};
