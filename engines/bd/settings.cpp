// Settings of the updater for BitDefender-format bases.

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "engines/bd/bd_updater.h"
#include "engines/files.h"
#include "engines/numbers.h"
#include "engines/proxy.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr int kNoServers = -3;

std::string wgetPrefix(int retries, int timeout, const std::string& errorFile,
                       const ProxySettings& proxy) {
  std::string wget = "wget --tries=" + std::to_string(retries) +
                     " --timeout=" + std::to_string(timeout) + " -o " + shellWord(errorFile) +
                     " --cache=off --server-response";
  if (proxy.use == 0) return wget + " --proxy=off";
  wget += " --proxy=on";
  if (proxy.auth != 0)
    wget +=
        " --proxy-user=" + shellWord(proxy.user) + " --proxy-passwd=" + shellWord(proxy.password);
  return wget;
}

}  // namespace

QX_BDUpdater::QX_BDUpdater(QX_AVUpdateLog* newLog, const char* newBasePath, const char* newTempPath,
                           const char* newBackupPath, unsigned char newUseProxy,
                           unsigned char proxyAuth, const char* proxyServer, unsigned int proxyPort,
                           const char* proxyUser, const char* proxyPassword, unsigned char timeout,
                           unsigned char newUseHttps, unsigned char retries,
                           const char* serverList) {
  setValues(newLog, newBasePath, newTempPath, newBackupPath, newUseProxy, proxyAuth, proxyServer,
            proxyPort, proxyUser, proxyPassword, timeout, newUseHttps, retries, serverList);
}

int QX_BDUpdater::setValues(QX_AVUpdateLog* newLog, const char* newBasePath,
                            const char* newTempPath, const char* newBackupPath,
                            unsigned char newUseProxy, unsigned char proxyAuth,
                            const char* proxyServer, unsigned int proxyPort, const char* proxyUser,
                            const char* proxyPassword, unsigned char timeout,
                            unsigned char newUseHttps, unsigned char retries,
                            const char* serverList) {
  const ProxySettings proxy{newUseProxy, proxyAuth, proxyServer,
                            proxyPort,   proxyUser, proxyPassword};
  if (newBasePath == nullptr || newTempPath == nullptr || serverList == nullptr ||
      !isComplete(proxy)) {
    writeLog(newLog, "LOG: Invalid update parameters to set\n");
    return kFailed;
  }

  DeallocMemory();
  log = newLog;
  if (!fileExists(newTempPath) && mkdir(newTempPath, 0777) != 0) {
    writeLog(log, "LOG: Error accessing temp dir %s (%s)\n", newTempPath, std::strerror(errno));
    return kFailed;
  }
  const std::string errorFile = std::string(newTempPath) + "/avupdate_wget.err";
  wgetErrorFile = copyString(errorFile.c_str());
  wgetCommand.reset(strdup(
      wgetPrefix(boundedRetries(retries), boundedTimeout(timeout), errorFile, proxy).c_str()));
  if (wgetCommand == nullptr) {
    writeLog(log, "LOG: Error allocating wget memory\n");
    return kFailed;
  }
  if (proxy.use != 0) {
    const std::string address = proxyAddress(proxy.server, proxy.port);
    exportProxy(address);
    writeLog(log, "LOG: Using Proxy %s\n", address.c_str());
  }

  serverCount = fillServers(servers, serverList, newUseHttps != 0, log);
  if (serverCount == 0) return kNoServers;

  basePath = copyString(newBasePath);
  tempPath = copyString(newTempPath);
  useHttps = newUseHttps;
  useProxy = newUseProxy;
  if (newBackupPath != nullptr) {
    backupPath = copyString(newBackupPath);
    backupConfigured = true;
  }
  return kDone;
}

int QX_BDUpdater::setCallback(UpdateProgressCallback newCallback, void* data) {
  if (newCallback == nullptr) {
    writeLog(log, "LOG: Invalid NULL callback function\n");
    return kFailed;
  }
  callback = newCallback;
  callbackData = data;
  return kDone;
}

void QX_BDUpdater::DeallocMemory() {
  for (OwnedString& server : servers) server.reset();
  serverCount = 0;
  for (OwnedString* const text : {&basePath, &tempPath, &backupPath, &wgetCommand, &wgetErrorFile})
    text->reset();
  if (useProxy != 0) removeProxy();
  useProxy = 0;
  callback = nullptr;
  callbackData = nullptr;
  totalBytes = 0;
  doneBytes = 0;
  log = nullptr;
}
