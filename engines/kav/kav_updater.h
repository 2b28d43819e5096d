// The updater for Kaspersky-format bases. Their index is avp.klb.
#pragma once

#include "engines/attempt.h"
#include "engines/kav/klb_index.h"

inline constexpr EngineFormat kKavFormat{1,           2,          "KLOG: ",     "avp.klb", "",
                                         nullptr,     nullptr,    true,         64,        true,
                                         "arameters", filesOfKlb, signatureLine};

// Used in this order: construct, setValues, SetCallback, update, destroy.
//
// Owns copies of the settings. Borrows the log and the callback's user pointer. Main thread
// only. Operations that return int give 0 for success, 2 after a cancel by the callback or by
// DownCancelled, and a negative number for a failure, which the log explains. Without
// settings, or after refused settings, nothing is fetched or changed anywhere, and the failure
// has no message.
class QX_KAVUpdater {
 public:
  // The comparison of a downloaded index with the installed one.
  enum IndexComparison : int { IndexChanged = 0, IndexMissing = 1, IndexUnchanged = 2 };

  // Sizes of the caller's buffers, with the terminator.
  static constexpr std::size_t kFieldBytes = ::kFieldBytes;
  static constexpr std::size_t kSignatureLineBytes = ::kSignatureLineBytes;

  QX_KAVUpdater() = default;
  QX_KAVUpdater(const QX_KAVUpdater&) = delete;
  QX_KAVUpdater& operator=(const QX_KAVUpdater&) = delete;

  // Replaces the whole configuration, also the callback, and exports the proxy to the
  // environment. `log` may be null. `backupPath` may be null: no backup is taken then. A
  // proxy value may be null when no flag asks for it. `timeout` is in seconds, at least 5.
  // `retries` are the tries per download, 2 to 5.
  //
  // Returns 0; -1 when a value is missing or the proxy's "HOST:PORT" exceeds 64
  // characters (the object is untouched then) or when memory runs out; -3 when the
  // list holds no usable server. After the last two only destroying or setting the
  // object again makes sense: no server is known then.
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
  int SetCallback(UpdateProgressCallback callback, void* data) {
    return session.watch(callback, data);
  }

  // Releases the configuration and takes the proxy out of the environment.
  void Dealloc() { session = Session(kKavFormat); }

  // Makes the temp directory, then does what updateIT() does. Without settings it
  // tries no server, and so returns -1.
  int update();

  // Runs one attempt against every server in turn, also after an attempt that failed.
  // Returns 0 when at least one attempt returned 0, otherwise -1; 2 when the run was
  // cancelled; -1, before the first event, when the directories are not apart.
  int updateIT();

  // Runs one attempt: index, comparison, change set, downloads, backup, installation, new
  // index, clean-up. Returns 0 when the database is up to date, or when the downloads began,
  // also when they failed; -1 for a failure and 2 for a cancel before that; 2 when the
  // callback cancels the last event. After a failed or cancelled download the database is
  // not changed. When DownCancelled comes between two files, the callback's answer to the
  // next event decides.
  int updatePerServer(const char* server);

  // Fetches `file` from the server into the temp directory. `size` is the listed size in
  // bytes; it is counted when the file is there. With `notify` the callback gets events.
  // Returns 0, also for a null file; 2 when cancelled; -1 when wget could not be started or
  // failed, or when the file is empty. A file that is missing after wget's status 0 gives 0:
  // the next reader of the file notices it.
  int DownloadFile(const char* file, const char* server, std::int32_t size, unsigned char notify);

  // Reads the entries of an index. Returns their number, or -1 when the file
  // cannot be read; the list is then as it was.
  static int GetDownloadList(const char* path, std::vector<std::string>& list);

  // The fields of an index entry, of which the first 255 characters count. The
  // first two take a buffer of kFieldBytes and return 0, or -1 when the field is
  // missing or does not fit; the size is in bytes, -1 when missing.
  static int getFname(const char* entry, char* name);
  static int getSign(const char* entry, char* sign);
  static std::int32_t getSize(const char* entry) { return entrySize(entry); }

  // Reads the signature line at the end of a file into a buffer of
  // kSignatureLineBytes: what stands 60 bytes before the end, up to the line's
  // end, less its last two characters. Returns 0, or -1 when the file cannot be
  // opened or holds no such line.
  static int getFileSig(const char* path, char* sig);

  // Compares the signature line of a downloaded index with the installed one's;
  // returns an IndexComparison, or -1 when the downloaded index has no line. An
  // installed index without one counts as unchanged.
  int matchAvpKlb(const char* downloaded) const;

  // Works out what to download. Appends each file's listed size, name and
  // signature to the lists and stores the sum of the sizes in `total`. With the
  // path of an installed index a file is wanted when it is missing or the two
  // indexes list different signatures; without (null) when it is missing or its
  // own signature line differs from the listed one.
  //
  // Returns the number of wanted files; 2 when DownCancelled was seen, which
  // alone tells this from a count; -1 when an index cannot be read, lists a bad
  // entry or, the downloaded one, a name that leads out of the database. `total`
  // is written only with a number.
  int addToDownload(const char* downloaded, const char* installed, std::vector<std::int32_t>& sizes,
                    std::vector<std::string>& names, std::vector<std::string>& signatures,
                    std::int32_t* total) const;

  // Appends every name that the installed index lists and the downloaded one
  // does not, safe names alone. Returns their number, 2 when DownCancelled was
  // seen, -1 when a path is null or an index cannot be read.
  int addToDelete(const char* downloaded, const char* installed,
                  std::vector<std::string>& list) const;

 private:
  Transfer transfer(const char* file, const char* server) const;

  // The steps of an attempt.
  int findChanges(Attempt& attempt, std::vector<std::string>& dropped);
  int downloadFiles(const Attempt& attempt);
  void install(const Attempt& attempt, const std::vector<std::string>& dropped) const;
  void backUp(Installation& installation) const;

  Session session{kKavFormat};
};
