// Runs one update of this installation, under the update lock.
#pragma once

#include <cstdint>
#include <memory>

#include "app/progress.h"
#include "engines/format.h"
#include "update/update_errors.h"
#include "update/update_log.h"
#include "update/update_settings.h"

// Updates the database of the installed scanning engine. The object holds the settings, the
// lock and the log. The engine's own updater does the work.
// Call order: constructor, SetValues, LockUpdate, UpdateNow, UnLockUpdate.
//
// For the main thread only. It cannot be copied. One update at a time runs on a machine, see
// LockUpdate.
class QX_AVUpdate {
 public:
  static constexpr std::uint8_t QX_UNWSystem = 0;  // unknown installation
  static constexpr std::uint8_t QX_KAVSystem = 1;  // Kaspersky-format bases
  static constexpr std::uint8_t QX_BDESystem = 2;  // BitDefender-format bases

  // Reads the version file of the installation. The object has no settings and no lock yet.
  QX_AVUpdate() : systemType(static_cast<std::uint8_t>(QX_GetSystemType())) {}

  // Reads the version file and calls SetValues with these values. Raises what SetValues
  // raises.
  QX_AVUpdate(const char* basePath, const char* tempPath, const char* backupPath,
              std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
              std::uint8_t proxyAuth, const char* proxyUser, const char* proxyPassword,
              std::uint8_t useHttps, std::uint8_t timeout, std::uint8_t retries,
              const char* serverList)
      : QX_AVUpdate() {
    SetValues(basePath, tempPath, backupPath, useProxy, proxyServer, proxyPort, proxyAuth,
              proxyUser, proxyPassword, useHttps, timeout, retries, serverList);
  }

  // Releases a lock that is still held.
  ~QX_AVUpdate();

  // Checks the values and replaces all earlier ones by copies of these. Raises
  // QX_AVUpdateExceptions for the first of these problems, and keeps the earlier values then:
  //   - the installation is unknown
  //   - the base path or the temp path is missing
  //   - with useProxy: the proxy server or the port is missing
  //   - with proxyAuth, also without useProxy: the proxy user or the password is missing
  //   - the server list is missing
  void SetValues(const char* basePath, const char* tempPath, const char* backupPath,
                 std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
                 std::uint8_t proxyAuth, const char* proxyUser, const char* proxyPassword,
                 std::uint8_t useHttps, std::uint8_t timeout, std::uint8_t retries,
                 const char* serverList);

  // Returns the engine that the version file names: QX_KAVSystem for 2, QX_BDESystem for 3 or
  // more. The first line with such a number decides. Without one: QX_UNWSystem.
  static int QX_GetSystemType();

  // Runs one update and reports its events to the callback. Returns 0 on success, 2 when the
  // update was cancelled, and a negative number when it failed. The log tells the reason.
  // Raises QX_AVUpdateExceptions when the installation is unknown, the settings are missing
  // or the lock is not held. A line in the log comes before it.
  int UpdateNow(UpdateProgressCallback callback, void* user);

  // Takes the update lock of the machine and opens the update log. `name` is the owner that
  // the lock file names; null means "Unknown Process". Returns 0.
  // Raises QX_AVUpdateExceptions when this object or another live process holds the lock, or
  // when the lock file cannot be written. Raises a message (const char*) when memory runs out
  // or the log cannot be opened. The lock may be held then; the destructor releases it.
  int LockUpdate(const char* name);

  // Releases the lock: closes the log and removes the lock file. Returns 0, or -1 when the
  // lock file could not be removed. Raises QX_AVUpdateExceptions when the lock is not held.
  int UnLockUpdate();

  // Whether a live process holds the lock. A line in the log then names the lock's owner. A
  // lock file that cannot be opened counts as held. A lock file without a live process is
  // removed. Raises what the log raises.
  bool isRunning();

 private:
  const std::uint8_t systemType;
  bool locked = false;
  std::unique_ptr<QX_AVUpdateLog> log;  // not null exactly while locked
  UpdateSettings settings;
};

// Returns the format of the installed engine, or null when the version file names none.
const EngineFormat* installedFormat();
