// Settings of the updater for Kaspersky-format bases.

#include <cstdio>

#include "engines/kav/kav_updater.h"
#include "engines/numbers.h"
#include "engines/proxy.h"
#include "engines/result.h"
#include "engines/shell_word.h"

namespace {

constexpr int kNoServers = -3;
constexpr std::size_t kCommandBytes = 1024;
constexpr std::size_t kCommandLimit = 1023;  // with the terminator
constexpr std::size_t kProxyAddressMax = 64;

std::string wgetPrefix(int retries, int timeout, const ProxySettings& proxy) {
  const std::string wget =
      "wget --tries=" + std::to_string(retries) + " --timeout=" + std::to_string(timeout);
  if (proxy.use == 0) return wget + " --proxy=off --cache=off ";
  if (proxy.auth == 0) return wget + " --proxy=on --cache=off ";
  return wget + " --proxy=on --cache=off --proxy-user=" + shellWord(proxy.user) +
         " \t\t\t    --proxy-passwd=" + shellWord(proxy.password) + " ";
}

}  // namespace

int QX_KAVUpdater::setValues(QX_AVUpdateLog* newLog, const char* newBasePath,
                             const char* newTempPath, const char* newBackupPath,
                             unsigned char newUseProxy, unsigned char proxyAuth,
                             const char* proxyServer, unsigned int proxyPort, const char* proxyUser,
                             const char* proxyPassword, unsigned char timeout,
                             unsigned char newUseHttps, unsigned char retries,
                             const char* serverList) {
  const ProxySettings proxy{newUseProxy, proxyAuth, proxyServer,
                            proxyPort,   proxyUser, proxyPassword};
  // This engine writes the port as a signed number.
  const std::string address = proxy.use != 0 && proxyServer != nullptr
                                  ? proxyAddress(proxyServer, static_cast<std::int32_t>(proxyPort))
                                  : std::string();
  // A longer address is refused, not cut: the password must not go to another
  // host.
  if (newBasePath == nullptr || newTempPath == nullptr || serverList == nullptr ||
      !isComplete(proxy) || address.size() > kProxyAddressMax) {
    writeLog(newLog, "KLOG: Invalid update arameters to set\n");
    return kFailed;
  }

  Dealloc();
  log = newLog;
  wgetCommand.reset(static_cast<char*>(std::malloc(kCommandBytes)));
  if (wgetCommand == nullptr) {
    writeLog(log, "KLOG: Error allocating wget memory\n");
    return kFailed;
  }
  if (proxy.use != 0) exportProxy(address);
  std::snprintf(wgetCommand.get(), kCommandLimit, "%s",
                wgetPrefix(boundedRetries(retries), boundedTimeout(timeout), proxy).c_str());

  serverCount = fillServers(servers, serverList, newUseHttps != 0, log);
  if (serverCount == 0) return kNoServers;

  basePath = copyString(newBasePath);
  tempPath = copyString(newTempPath);
  backupPath = copyString(newBackupPath);
  useHttps = newUseHttps;
  useProxy = newUseProxy;
  return kDone;
}

int QX_KAVUpdater::SetCallback(UpdateProgressCallback newCallback, void* data) {
  if (newCallback == nullptr) {
    writeLog(log, "KLOG: Invalid NULL callback function\n");
    return kFailed;
  }
  callback = newCallback;
  callbackData = data;
  return kDone;
}

void QX_KAVUpdater::Dealloc() {
  for (OwnedString& server : servers) server.reset();
  serverCount = 0;
  basePath.reset();
  tempPath.reset();
  backupPath.reset();
  wgetCommand.reset();
  if (useProxy != 0) removeProxy();
  useProxy = 0;
  callback = nullptr;
  callbackData = nullptr;
  totalBytes = 0;
  doneBytes = 0;
  log = nullptr;
}
