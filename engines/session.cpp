#include "engines/session.h"

#include <cstdlib>

#include "app/interrupt.h"
#include "engines/server_list.h"
#include "system/command.h"
#include "system/shell_word.h"

constexpr const char* kProxyVariables[] = {"ftp_proxy", "https_proxy", "http_proxy"};

bool EngineSettings::isProxyComplete() const {
  if (useProxy != 0 && (proxyServer == nullptr || proxyPort == 0)) return false;
  return proxyAuth == 0 || (proxyUser != nullptr && proxyPassword != nullptr);
}

bool EngineSettings::areComplete() const {
  return basePath != nullptr && tempPath != nullptr && serverList != nullptr && isProxyComplete();
}

std::string EngineSettings::proxyAddress(const EngineFormat& format) const {
  if (useProxy == 0 || proxyServer == nullptr) return "";
  const std::int64_t port =
      format.hasSignedPort ? static_cast<std::int32_t>(proxyPort) : std::int64_t{proxyPort};
  return proxyServer + (":" + std::to_string(port));
}

std::string EngineSettings::wget() const {
  return "wget --tries=" + std::to_string(retries >= 2 && retries <= 5 ? retries : 3) +
         " --timeout=" + std::to_string(timeout >= 5 ? timeout : 5);
}

std::string EngineSettings::proxyLogin(const char* between) const {
  if (useProxy == 0 || proxyAuth == 0) return "";
  return " --proxy-user=" + shellWord(proxyUser) + between +
         "--proxy-passwd=" + shellWord(proxyPassword);
}

ExportedProxy::ExportedProxy(const std::string& address) {
  for (const char* const variable : kProxyVariables) setenv(variable, address.c_str(), 1);
}

ExportedProxy::~ExportedProxy() {
  for (const char* const variable : kProxyVariables) unsetenv(variable);
}

int Session::open(const EngineSettings& settings, const std::function<std::string()>& command) {
  const std::string address = settings.proxyAddress(*format);
  // An address that is too long is not cut: the password must not go to another host.
  if (!settings.areComplete() || address.size() > format->proxyAddressMax) {
    writeLog(settings.log, "%sInvalid update %s to set\n", format->prefix, format->parameters);
    return kFailed;
  }
  *this = Session(*format);
  log = settings.log;
  try {
    wget = command();
    if (wget.empty()) return kFailed;
    if (settings.useProxy != 0) proxy = std::make_unique<ExportedProxy>(address);
    servers = usableServers(settings.serverList, settings.useHttps != 0, log);
    if (servers.empty()) return kNoServers;
    // In the commands an empty path would stand for the root directory.
    if (settings.backupPath != nullptr && *settings.backupPath != '\0')
      places.backup = settings.backupPath;
    places.temp = places.download = settings.tempPath;
    places.base = settings.basePath;
    return kDone;
  } catch (const std::bad_alloc&) {
    writeLog(log, "%sError allocating wget memory\n", format->prefix);
    return kFailed;
  }
}

int Session::watch(UpdateProgressCallback watcher, void* data) {
  if (watcher == nullptr) {
    writeLog(log, "%sInvalid NULL callback function\n", format->prefix);
    return kFailed;
  }
  callback = watcher;
  callbackData = data;
  return kDone;
}

bool Session::tell(ProgressEvent event, const char* text, bool withBytes) const {
  return callback == nullptr || callback(event, text, withBytes ? totalBytes : 0,
                                         withBytes ? doneBytes : 0, callbackData) != ProgressCancel;
}

bool Session::failed(const char* logPrefix, const std::string& what) const {
  writeLog(log, "%s%s\n", logPrefix, what.c_str());
  reportError(what);
  return false;
}

int Session::tryServers(const std::function<int(const char* server)>& attempt) const {
  if (!tell(ProgressUpdateStarted, nullptr)) return kCancelled;
  int result = kFailed;
  for (std::size_t i = 0; i < servers.size() && result == kFailed; ++i)
    result = attempt(servers[i].c_str());
  if (result != kDone) return kFailed;
  if (!DownCancelled) (void)tell(ProgressUpdateDone, nullptr);
  return kDone;
}

std::string Session::commandFor(const std::string& server, const std::string& file) const {
  return wget + " " + shellWord(server + "/" + file) + " -O " + shellWord(places.downloaded(file));
}

int Session::fetch(const char* file, std::int32_t size, bool notify, const Transfer& transfer) {
  const auto goesOn = [&](ProgressEvent event) { return !notify || tell(event, file, true); };
  if (!goesOn(ProgressFileStarted)) return kCancelled;
  const std::string target = places.downloaded(file);
  removeFile(target);
  removeFile(wgetLog);
  const bool succeeded = !transfer.command.empty() && runDownload(transfer.command);
  if (DownCancelled) return kCancelled;
  const int result = transfer.judge(target, succeeded);
  if (result != kDone) return result;
  doneBytes = addBytes(doneBytes, size);
  return goesOn(ProgressFileBytes) && goesOn(ProgressFileDone) ? kDone : kCancelled;
}

std::int32_t addBytes(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
