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

// Returns null when the name is null, the file does not exist or memory runs out.
OwnedTable load(const char* file) {
  return OwnedTable(file != nullptr && fileExists(file) ? ini_dyn_load(nullptr, file) : nullptr);
}

// Returns the value, which the table owns, or null when it is absent or empty.
const char* filledText(const OwnedTable& table, const char* name) {
  const char* const value = sym_get_value(table.get(), name, nullptr);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// Returns 0 when the value is absent or not a number.
int number(const OwnedTable& table, const char* name) {
  return std::atoi(sym_get_value(table.get(), name, "0"));
}

// Returns the low eight bits of the number.
std::uint8_t byte(const OwnedTable& table, const char* name) {
  return static_cast<std::uint8_t>(number(table, name));
}

}  // namespace

int withConfiguration(const char* updateConfig, const char* mainConfig,
                      const std::function<void(const EngineSettings&)>& use) {
  const OwnedTable paths = load(mainConfig);
  const OwnedTable update = load(updateConfig);
  if (paths == nullptr || update == nullptr) return kFailed;

  EngineSettings settings{};
  settings.basePath = filledText(paths, "path:BasesPath");
  settings.tempPath = filledText(paths, "path:TempPath");
  settings.backupPath = filledText(paths, "path:BackUpPath");
  settings.useProxy = byte(update, "Update:UseProxy");
  settings.proxyServer = sym_get_value(update.get(), "Update:ProxyServer", nullptr);
  settings.proxyPort = static_cast<std::uint32_t>(number(update, "Update:ProxyPort"));
  settings.proxyAuth = byte(update, "Update:ProxyAuth");
  settings.proxyUser = filledText(update, "Update:ProxyUser");
  settings.proxyPassword = filledText(update, "Update:ProxyPass");
  settings.useHttps = byte(update, "Update:UseHttps");
  settings.timeout = byte(update, "Update:TimeOut");
  settings.retries = byte(update, "Update:NoOfRetries");
  settings.serverList = filledText(update, "Update:ServerList");
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
  if (updater == nullptr) return kFailed;
  char bar[kBarBytes] = {};
  try {
    updater->LockUpdate("updatenow");
    const int result = updater->UpdateNow(DisplayUpdate, bar);
    updater->UnLockUpdate();
    std::puts(result == kDone        ? "Virus Database updated successfully"
              : result == kCancelled ? "\n***Update cancelled before finish"
                                     : "\n***Error updating virus");
    return result < 0 ? kFailed : kDone;
  } catch (const QX_AVUpdateExceptions& error) {
    std::printf("\n***ERR: %s\n", error.detail());
  } catch (const char* message) {
    std::printf("\n***ERR: %s\n", message);
  }
  return kFailed;
}
