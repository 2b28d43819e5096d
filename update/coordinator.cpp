#include "update/coordinator.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/kav/kav_updater.h"
#include "engines/proxy.h"
#include "update/paths.h"

namespace {

constexpr int kNoProblem = 0;

ProxySettings proxyOf(const UpdateSettings& settings) {
  return {settings.useProxy,  settings.proxyAuth,       settings.proxyServer.get(),
          settings.proxyPort, settings.proxyUser.get(), settings.proxyPassword.get()};
}

// The code of the first thing that keeps an update with these settings from
// running, or kNoProblem.
int problemWith(int systemType, const UpdateSettings& settings) {
  if (systemType == QX_AVUpdate::QX_UNWSystem) return QX_AVUpdateExceptions::ExceptionUnknownSystem;
  if (settings.basePath == nullptr) return QX_AVUpdateExceptions::ExceptionBasePath;
  if (settings.tempPath == nullptr) return QX_AVUpdateExceptions::ExceptionTempPath;
  if (!isComplete(proxyOf(settings))) return QX_AVUpdateExceptions::ExceptionProxyServer;
  if (settings.serverList == nullptr) return QX_AVUpdateExceptions::ExceptionUpdateServer;
  return kNoProblem;
}

// Both engines take the settings in this order, which is not SetValues' own.
template <class Engine>
int setEngineValues(Engine& engine, QX_AVUpdateLog* log, const UpdateSettings& s) {
  return engine.setValues(log, s.basePath.get(), s.tempPath.get(), s.backupPath.get(), s.useProxy,
                          s.proxyAuth, s.proxyServer.get(), s.proxyPort, s.proxyUser.get(),
                          s.proxyPassword.get(), s.timeout, s.useHttps, s.retries,
                          s.serverList.get());
}

}  // namespace

QX_AVUpdate::QX_AVUpdate() : systemType(static_cast<std::uint8_t>(QX_GetSystemType())) {}

QX_AVUpdate::QX_AVUpdate(const char* basePath, const char* tempPath, const char* backupPath,
                         std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
                         std::uint8_t proxyAuth, const char* proxyUser, const char* proxyPassword,
                         std::uint8_t useHttps, std::uint8_t timeout, std::uint8_t retries,
                         const char* serverList)
    : QX_AVUpdate() {
  SetValues(basePath, tempPath, backupPath, useProxy, proxyServer, proxyPort, proxyAuth, proxyUser,
            proxyPassword, useHttps, timeout, retries, serverList);
}

QX_AVUpdate::~QX_AVUpdate() {
  settings = UpdateSettings();
  if (locked) UnLockUpdate();
}

int QX_AVUpdate::QX_GetSystemType() {
  if (access(kVersionFile, R_OK) != 0) return QX_UNWSystem;
  std::FILE* const file = std::fopen(kVersionFile, "re");
  if (file == nullptr) return QX_UNWSystem;
  int type = QX_UNWSystem;
  char line[63];
  while (type == QX_UNWSystem && std::fgets(line, sizeof line, file) != nullptr) {
    const int number = std::atoi(line);
    if (number >= 3)
      type = QX_BDESystem;
    else if (number == 2)
      type = QX_KAVSystem;
  }
  std::fclose(file);
  return type;
}

void QX_AVUpdate::SetValues(const char* basePath, const char* tempPath, const char* backupPath,
                            std::uint8_t useProxy, const char* proxyServer, std::uint32_t proxyPort,
                            std::uint8_t proxyAuth, const char* proxyUser,
                            const char* proxyPassword, std::uint8_t useHttps, std::uint8_t timeout,
                            std::uint8_t retries, const char* serverList) {
  UpdateSettings values;
  values.basePath = copyString(basePath);
  values.tempPath = copyString(tempPath);
  values.backupPath = copyString(backupPath);
  values.useProxy = useProxy;
  values.proxyAuth = proxyAuth;
  values.proxyServer = copyString(useProxy != 0 ? proxyServer : nullptr);
  values.proxyPort = useProxy != 0 ? proxyPort : 0;
  values.proxyUser = copyString(proxyAuth != 0 ? proxyUser : nullptr);
  values.proxyPassword = copyString(proxyAuth != 0 ? proxyPassword : nullptr);
  values.useHttps = useHttps;
  values.timeout = timeout;
  values.retries = retries;
  values.serverList = copyString(serverList);

  const int problem = problemWith(systemType, values);
  if (problem != kNoProblem) throw QX_AVUpdateExceptions(problem);
  settings = std::move(values);
}

int QX_AVUpdate::UpdateNow(UpdateProgressCallback callback, void* user) {
  const int problem = problemWith(systemType, settings);
  if (problem != kNoProblem) {
    writeLog(log.get(), problem == QX_AVUpdateExceptions::ExceptionUnknownSystem
                            ? "Unknow qxav installation\n"
                            : "Update parameters not set\n");
    throw QX_AVUpdateExceptions(problem);
  }
  if (!locked) {
    writeLog(log.get(), "Update lock not acquired\n");
    throw QX_AVUpdateExceptions(QX_AVUpdateExceptions::ExceptionNotLocked);
  }

  DownCancelled = false;
  try {
    return runEngine(callback, user);
  } catch (const std::bad_alloc&) {
    writeLog(log.get(), systemType == QX_BDESystem ? "BLOG: Error allocating memory\n"
                                                   : "KLOG: Error allocating memory\n");
    return -1;
  }
}

int QX_AVUpdate::runEngine(UpdateProgressCallback callback, void* user) {
  if (systemType == QX_BDESystem) {
    const auto engine = std::make_unique<QX_BDUpdater>();
    if (setEngineValues(*engine, log.get(), settings) < 0) return -1;
    if (engine->setCallback(callback, user) < 0) return -1;
    return engine->updateNow();
  }
  if (systemType == QX_KAVSystem) {
    const auto engine = std::make_unique<QX_KAVUpdater>();
    if (setEngineValues(*engine, log.get(), settings) < 0) return -1;
    if (engine->SetCallback(callback, user) < 0) return -1;
    return engine->update();
  }
  return -1;
}
