// What an updater is while it is configured: settings, servers, proxy, log, watcher,
// counters and paths; and what every format does the same way with them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/progress.h"
#include "engines/format.h"
#include "engines/places.h"
#include "engines/result.h"
#include "update/update_log.h"

// setValues' fourteen values, in their order; views of the caller's texts, which may be
// null where a flag does not call for them.
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

  // Whether the proxy values that the two flags call for are there: user and password
  // are called for by proxyAuth alone, also when no proxy is used.
  bool isProxyComplete() const;
  bool areComplete() const;

  // The beginning of every download command. Tries per download: 2 to 5, otherwise 3.
  // Seconds: at least 5.
  std::string wget() const;
};

// The proxy in the environment, where wget finds it, while the object lives.
class ExportedProxy {
 public:
  explicit ExportedProxy(const std::string& address);  // "HOST:PORT"
  ~ExportedProxy();
  ExportedProxy(const ExportedProxy&) = delete;
  ExportedProxy& operator=(const ExportedProxy&) = delete;
};

// One file's way onto this machine.
struct Transfer {
  std::string command;  // that fetches it; empty when it cannot be fetched
  std::string target;   // where it goes to
  std::string log;      // that the command writes; may be empty

  // What to make of it when the command has ended, with status 0 or not: kDone, or a
  // negative result.
  std::function<int(bool succeeded)> judge;
};

// Owns copies of the settings, borrows the log and the watcher's user pointer. A
// session that is not open knows no server and has empty places. Releasing a
// configuration is assigning a new session.
class Session {
 public:
  explicit Session(const EngineFormat& engineFormat) : format(&engineFormat) {}

  // Takes the settings over and exports the proxy, "HOST:PORT", if one is used.
  // Returns kDone, or kNoServers when the list holds no usable server: the log is
  // known then and the proxy exported, but the session is not open. Throws
  // std::bad_alloc.
  [[nodiscard]] int open(const EngineSettings& settings, const std::string& proxyAddress);
  bool isOpen() const { return !places.base.empty(); }
  bool usesProxy() const { return proxy != nullptr; }

  // Returns kDone, or kFailed after a line in the log for a null callback, which
  // changes nothing.
  int watch(UpdateProgressCallback watcher, void* data);

  // Sends an event; those of a file come with the counted bytes. False: the watcher
  // asks to stop.
  [[nodiscard]] bool tell(ProgressEvent event, const char* text, bool withBytes = false) const;
  void reportError(const std::string& text) const;  // whatever is answered

  // A transfer of SERVER/FILE to the download directory: `wget`, which ends in a blank,
  // with the address and the target. The engine adds what its own command has besides, and
  // its judgement.
  Transfer transferOf(const std::string& wget, const char* server, const char* file) const;

  // Runs one file's transfer. With `notify` the watcher is told before it, and twice after
  // the file was counted with its listed size. Target and log are removed first: the wget
  // of a killed run may still write into a file of that name, and through a link it would
  // write into another file. Returns kDone; kCancelled, also when the watcher asks to stop
  // or DownCancelled is set, and then nothing was judged; or a negative judgement. Only a
  // file that is there is counted. The place to change when transfers change.
  [[nodiscard]] int fetch(const char* file, std::int32_t size, bool notify,
                          const Transfer& transfer);

  const EngineFormat* format;
  QX_AVUpdateLog* log = nullptr;
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
