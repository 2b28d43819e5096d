#include "app/update_command.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "app/display.h"
#include "config/ini_reader.h"
#include "config/symbol_table.h"
#include "engines/result.h"
#include "system/files.h"
#include "update/coordinator.h"

namespace {

// One configuration file's values.
class Configuration {
 public:
  // Reads the file; isLoaded() tells whether that went well.
  explicit Configuration(const char* file)
      : table_(fileExists(file) ? ini_dyn_load(nullptr, file) : nullptr) {}

  bool isLoaded() const { return table_ != nullptr; }

  // The value, as long as this object lives; null when it is absent.
  const char* text(const char* name) const { return sym_get_value(table_.get(), name, nullptr); }

  // The same, null also when it is empty.
  const char* filledText(const char* name) const {
    const char* const value = text(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
  }

  // 0 when absent or not a number.
  int number(const char* name) const { return std::atoi(sym_get_value(table_.get(), name, "0")); }

  // The low eight bits of the number.
  std::uint8_t byte(const char* name) const { return static_cast<std::uint8_t>(number(name)); }

 private:
  OwnedTable table_;
};

}  // namespace

int withConfiguration(const char* updateConfig, const char* mainConfig,
                      const std::function<void(const EngineSettings&)>& use) {
  if (updateConfig == nullptr || mainConfig == nullptr) return kFailed;
  const Configuration paths(mainConfig);
  if (!paths.isLoaded()) return kFailed;
  const Configuration update(updateConfig);
  if (!update.isLoaded()) return kFailed;

  EngineSettings settings{};
  settings.basePath = paths.filledText("path:BasesPath");
  settings.tempPath = paths.filledText("path:TempPath");
  settings.backupPath = paths.filledText("path:BackUpPath");
  settings.useProxy = update.byte("Update:UseProxy");
  settings.proxyServer = update.text("Update:ProxyServer");
  settings.proxyPort = static_cast<std::uint32_t>(update.number("Update:ProxyPort"));
  settings.proxyAuth = update.byte("Update:ProxyAuth");
  settings.proxyUser = update.filledText("Update:ProxyUser");
  settings.proxyPassword = update.filledText("Update:ProxyPass");
  settings.useHttps = update.byte("Update:UseHttps");
  settings.timeout = update.byte("Update:TimeOut");
  settings.retries = update.byte("Update:NoOfRetries");
  settings.serverList = update.filledText("Update:ServerList");
  use(settings);
  return kDone;
}

int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater) {
  if (updater == nullptr) return kFailed;
  return withConfiguration(updateConfig, mainConfig, [updater](const EngineSettings& s) {
    try {
      updater->SetValues(s.basePath, s.tempPath, s.backupPath, s.useProxy, s.proxyServer,
                         s.proxyPort, s.proxyAuth, s.proxyUser, s.proxyPassword, s.useHttps,
                         s.timeout, s.retries, s.serverList);
    } catch (const QX_AVUpdateExceptions& error) {
      std::printf("Error: %s\n", error.detail());
    }
  });
}

int UpdateVirus(QX_AVUpdate* updater) {
  if (updater == nullptr) return -1;
  char bar[kBarBytes] = {};
  int result = kFailed;
  try {
    updater->LockUpdate("updatenow");
    result = updater->UpdateNow(DisplayUpdate, bar);
    updater->UnLockUpdate();
  } catch (const QX_AVUpdateExceptions& error) {
    std::printf("\n***ERR: %s\n", error.detail());
    return -1;
  } catch (const char* message) {
    std::printf("\n***ERR: %s\n", message);
    return -1;
  }
  if (result == kDone)
    std::puts("Virus Database updated successfully");
  else if (result == kCancelled)
    std::puts("\n***Update cancelled before finish");
  else
    std::puts("\n***Error updating virus");
  return result < 0 ? -1 : 0;
}
