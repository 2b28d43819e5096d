// Runs one update of this installation, under the update lock.
#pragma once

#include <cstdint>
#include <memory>

#include "app/progress.h"
#include "engines/format.h"
#include "update/update_errors.h"
#include "update/update_log.h"
#include "update/update_settings.h"

// Learns at construction which scanning engine the installation carries, holds
// the settings, the lock and the log, and lets the engine's updater do the work.
// Used in this order: construct, SetValues, LockUpdate, UpdateNow, UnLockUpdate.
//
// Main thread only, never copied. One update at a time on a machine: see LockUpdate.
class QX_AVUpdate {
 public:
  static constexpr std::uint8_t QX_UNWSystem = 0;  // unknown installation
  static constexpr std::uint8_t QX_KAVSystem = 1;  // Kaspersky-format bases
  static constexpr std::uint8_t QX_BDESystem = 2;  // BitDefender-format bases

  // Reads the installation's version file; without settings, without the lock.
  QX_AVUpdate();

  // The same, followed by SetValues with these values; what that raises, this
  // raises.
  QX_AVUpdate(const char* basePath, const char* tempPath, const char* backupPath,
              std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
              std::uint8_t proxyAuth, const char* proxyUser, const char* proxyPassword,
              std::uint8_t useHttps, std::uint8_t timeout, std::uint8_t retries,
              const char* serverList);

  // Releases a lock that is still held.
  ~QX_AVUpdate();

  // Checks the values and keeps copies of them in place of all earlier ones.
  // Raises QX_AVUpdateExceptions for the first value that will not do and then
  // keeps what was there: an unknown installation, a missing base path, temp
  // path, proxy server or port (with useProxy), proxy user or password (with
  // proxyAuth, also without a proxy) or server list.
  void SetValues(const char* basePath, const char* tempPath, const char* backupPath,
                 std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
                 std::uint8_t proxyAuth, const char* proxyUser, const char* proxyPassword,
                 std::uint8_t useHttps, std::uint8_t timeout, std::uint8_t retries,
                 const char* serverList);

  // The engine that the version file names: QX_BDESystem for a first number of
  // 3 or more, QX_KAVSystem for 2, QX_UNWSystem when no line decides.
  static int QX_GetSystemType();

  // Runs one update, telling the callback how it goes. Returns 0 on success, 2
  // when it was cancelled, a negative number when it failed; the log says why.
  // Raises QX_AVUpdateExceptions, after a line in the log, when the installation
  // is unknown, the settings are missing or the lock is not held.
  int UpdateNow(UpdateProgressCallback callback, void* user);

  // Takes the machine's update lock in the owner's name (may be null) and opens
  // the update log. Returns 0. Raises QX_AVUpdateExceptions when this object or
  // another live process holds the lock or the lock file cannot be written, and
  // a message text (const char*) when the log cannot be written; in this last
  // case the lock may be held already, see ~QX_AVUpdate.
  int LockUpdate(const char* name);

  // Releases the lock, closing the log and removing the lock file, also when
  // the log could not be written. Returns 0, or -1 when the lock file could not
  // be removed. Raises QX_AVUpdateExceptions when the lock is not held.
  int UnLockUpdate();

  // True when a live process holds the lock, which is then named in the log. A
  // lock file without such a process is removed. Raises what the log raises.
  bool isRunning();

 private:
  const std::uint8_t systemType;
  bool locked = false;
  std::unique_ptr<QX_AVUpdateLog> log;  // exists exactly while locked
  UpdateSettings settings;
};

// The format of the installed engine; null when the version file names none.
const EngineFormat* installedFormat();
