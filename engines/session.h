// The configuration of an updater, and the steps with it that are the same in every format.
//
// A new engine holds one Session. It opens the session with the settings and lets the caller
// watch. It calls tryServers(), and makes an Attempt (attempt.h) for each server. It owns the
// temp directory: it makes a missing one before the run and removes its downloads after it. An
// index without downloads may stay there. So do the downloads of a run that was killed, until
// one of their name comes. Session::fetch() sends the events of a file, so the engine calls it
// with `notify` for the files of a change set, and without for the index.
#pragma once

#include <functional>
#include <memory>

#include "app/progress.h"
#include "engines/format.h"
#include "engines/places.h"
#include "engines/result.h"

// The fourteen values of setValues(), in their order. The texts belong to the caller. A text
// may be null when no flag asks for it.
struct EngineSettings {
  QX_AVUpdateLog* log;
  const char* basePath;
  const char* tempPath;
  const char* backupPath;  // may be null
  std::uint8_t useProxy;   // flag
  std::uint8_t proxyAuth;  // flag: the proxy asks for user and password
  const char* proxyServer;
  std::uint32_t proxyPort;
  const char* proxyUser;
  const char* proxyPassword;
  std::uint8_t timeout;   // seconds
  std::uint8_t useHttps;  // flag
  std::uint8_t retries;   // tries per download
  const char* serverList;

  // Whether the values that the two proxy flags ask for are there. useProxy asks for server
  // and port. proxyAuth asks for user and password, also when no proxy is used.
  bool isProxyComplete() const;
  bool areComplete() const;

  // The proxy's "HOST:PORT". Empty when no proxy is used.
  std::string proxyAddress(const EngineFormat& format) const;

  // The beginning of every download command, with the number of tries (2 to 5, otherwise
  // 3) and the seconds to wait (at least 5). Append proxySwitch(), proxyLogin() and
  // " --cache=off", so that no proxy answers with an old index. wget writes its messages to
  // standard error: append kQuietly (system/command.h) behind the address, or "-o" and wgetLog.
  std::string wget() const;

  // wget's option that turns the proxy on or off. It begins with a blank.
  std::string proxySwitch() const { return useProxy != 0 ? " --proxy=on" : " --proxy=off"; }

  // wget's options for the proxy's user and password. They begin with a blank, and `between`
  // stands between them. Empty when the proxy asks for no login.
  std::string proxyLogin(const char* between = " ") const;
};

// Keeps the proxy in the environment, where wget finds it. It is gone with the object.
class ExportedProxy {
 public:
  explicit ExportedProxy(const std::string& address);  // "HOST:PORT"
  ~ExportedProxy();
  ExportedProxy(const ExportedProxy&) = delete;
  ExportedProxy& operator=(const ExportedProxy&) = delete;
};

// How one file is fetched.
struct Transfer {
  std::string command;  // fetches the file; empty when that is not possible

  // Judges what came at the path `target` after the command has ended; `succeeded` means with
  // status 0. Returns kDone or a negative result. It is not asked after a cancel.
  std::function<int(const std::string& target, bool succeeded)> judge;
};

// Owns copies of the settings. Borrows the log and the watcher's user pointer. A session
// that is not open knows no server and has empty places. To release a configuration,
// assign a new session.
class Session {
 public:
  explicit Session(const EngineFormat& engineFormat) : format(&engineFormat) {}

  // Copies the settings in place of the whole configuration, also of the watcher, and exports
  // the proxy if one is used. An empty backup path counts as none. `command` gives `wget`, or
  // an empty text, after a line in the log, when the engine cannot run with these settings.
  //
  // Returns kDone; kFailed, after a line in the log, when the settings are not complete or
  // the proxy's address is too long for the format (nothing has changed then), when there is
  // no command or memory runs out; kNoServers when the list holds no usable server. After
  // the last three the session is not open, but it has the log.
  [[nodiscard]] int open(const EngineSettings& settings,
                         const std::function<std::string()>& command);
  bool isOpen() const { return !places.base.empty(); }
  bool usesProxy() const { return proxy != nullptr; }

  // Returns kDone, or kFailed after a line in the log for a null callback, which
  // changes nothing.
  int watch(UpdateProgressCallback watcher, void* data);

  // Sends an event, with the counted bytes if `withBytes` is set. Returns false when the
  // watcher asks to stop.
  [[nodiscard]] bool tell(ProgressEvent event, const char* text, bool withBytes = false) const;

  // Sends ProgressError. The answer does not matter.
  void reportError(const std::string& text) const { (void)tell(ProgressError, text.c_str()); }

  // Writes what has failed to the log, as a line behind `logPrefix`, and reports it to the watcher.
  // Returns false.
  bool failed(const char* logPrefix, const std::string& what) const;

  // Sends ProgressUpdateStarted and tries the servers in turn, up to the first for which
  // `attempt` returns something else than kFailed. Sends ProgressUpdateDone after kDone, unless
  // DownCancelled is set. Returns kDone; kCancelled when the watcher asks to stop at once;
  // otherwise kFailed, also after an attempt that was cancelled. When DownCancelled is set
  // afterwards, the run is cancelled, whatever this returned.
  [[nodiscard]] int tryServers(const std::function<int(const char* server)>& attempt) const;

  // The command that fetches SERVER/FILE into the download directory: `wget` ADDRESS -O
  // TARGET, quoted for the shell. The engine may add the rest of its command. No step makes
  // folders: a name with a folder can be fetched and installed only where the engine has made that
  // folder in both directories.
  std::string commandFor(const std::string& server, const std::string& file) const;

  // Fetches one file. With `notify` the watcher hears of it before the transfer, and twice
  // after the file was counted with its listed size. Target and wgetLog are removed first: the
  // wget of a killed run may still write into a file of that name, and wget would write
  // through a link into another file. Returns kDone after a good judgement; kCancelled when
  // the watcher asks to stop, or when DownCancelled is set after the command; otherwise the
  // negative judgement, and then the file is not counted. Change transfers here.
  [[nodiscard]] int fetch(const char* file, std::int32_t size, bool notify,
                          const Transfer& transfer);

  const EngineFormat* format;
  QX_AVUpdateLog* log = nullptr;
  std::string wget;     // the beginning of each download command
  std::string wgetLog;  // the path of its messages, if the engine has set one
  std::vector<std::string> servers;
  Places places;
  std::int32_t totalBytes = 0;  // of the change set being fetched, as listed
  std::int32_t doneBytes = 0;

 private:
  std::unique_ptr<ExportedProxy> proxy;
  UpdateProgressCallback callback = nullptr;
  void* callbackData = nullptr;
};

// The sum in 32 bits. It wraps: sizes come from an index, which may list anything, and
// serve the progress display alone.
std::int32_t addBytes(std::int32_t a, std::int32_t b);
