#include "update/coordinator.h"

#include <utility>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/kav/kav_updater.h"
#include "update/paths.h"

namespace {

constexpr int kNoProblem = 0;

EngineSettings viewOf(const UpdateSettings& s, QX_AVUpdateLog* log) {
  return {
      log,         s.basePath.get(),    s.tempPath.get(), s.backupPath.get(), s.useProxy,
      s.proxyAuth, s.proxyServer.get(), s.proxyPort,      s.proxyUser.get(),  s.proxyPassword.get(),
      s.timeout,   s.useHttps,          s.retries,        s.serverList.get()};
}

// Returns the exception code of the first reason why no update can run with these settings,
// or kNoProblem.
int problemWith(int systemType, const EngineSettings& settings) {
  if (systemType == QX_AVUpdate::QX_UNWSystem) return QX_AVUpdateExceptions::ExceptionUnknownSystem;
  if (settings.basePath == nullptr) return QX_AVUpdateExceptions::ExceptionBasePath;
  if (settings.tempPath == nullptr) return QX_AVUpdateExceptions::ExceptionTempPath;
  if (!settings.isProxyComplete()) return QX_AVUpdateExceptions::ExceptionProxyServer;
  if (settings.serverList == nullptr) return QX_AVUpdateExceptions::ExceptionUpdateServer;
  return kNoProblem;
}

int runKav(const EngineSettings& settings, UpdateProgressCallback callback, void* user) {
  QX_KAVUpdater updater;
  if (updater.setValues(settings) < 0 || updater.SetCallback(callback, user) < 0) return kFailed;
  return updater.update();
}

int runBd(const EngineSettings& settings, UpdateProgressCallback callback, void* user) {
  QX_BDUpdater updater;
  if (updater.setValues(settings) < 0 || updater.setCallback(callback, user) < 0) return kFailed;
  return updater.updateNow();
}

// A row for each engine: its format, its log line for the case that memory runs out, and the
// function that runs it. installedFormat() takes the first row whose number is not above
// that of the version file, so higher numbers come first.
struct Engine {
  const EngineFormat* format;
  const char* outOfMemory;
  int (*run)(const EngineSettings& settings, UpdateProgressCallback callback, void* user);
};

constexpr Engine kEngines[] = {
    {&kBdFormat, "BLOG: Error allocating memory\n", runBd},
    {&kKavFormat, "KLOG: Error allocating memory\n", runKav},
};
static_assert(kBdFormat.type == QX_AVUpdate::QX_BDESystem);
static_assert(kKavFormat.type == QX_AVUpdate::QX_KAVSystem);

}  // namespace

QX_AVUpdate::~QX_AVUpdate() {
  if (locked) UnLockUpdate();
}

const EngineFormat* installedFormat() {
  const File file = isReadable(kVersionFile) ? openFile(kVersionFile) : nullptr;
  char line[63];
  while (file != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr)
    for (const Engine& engine : kEngines)
      if (std::atoi(line) >= engine.format->number) return engine.format;
  return nullptr;
}

int QX_AVUpdate::QX_GetSystemType() {
  const EngineFormat* const format = installedFormat();
  return format != nullptr ? format->type : QX_UNWSystem;
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

  const int problem = problemWith(systemType, viewOf(values, nullptr));
  if (problem != kNoProblem) throw QX_AVUpdateExceptions(problem);
  settings = std::move(values);
}

int QX_AVUpdate::UpdateNow(UpdateProgressCallback callback, void* user) {
  const EngineSettings values = viewOf(settings, log.get());
  const int problem = problemWith(systemType, values);
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
  for (const Engine& engine : kEngines) {
    if (engine.format->type != systemType) continue;
    try {
      return engine.run(values, callback, user);
    } catch (const std::bad_alloc&) {
      writeLog(log.get(), "%s", engine.outOfMemory);
    }
  }
  return kFailed;
}
