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

// Null when the file cannot be read.
OwnedTable load(const char* file) {
  return OwnedTable(fileExists(file) ? ini_dyn_load(nullptr, file) : nullptr);
}

// The value, as long as the table lives; null when it is absent or empty.
const char* filledText(const OwnedTable& table, const char* name) {
  const char* const value = sym_get_value(table.get(), name, nullptr);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// 0 when absent or not a number.
int number(const OwnedTable& table, const char* name) {
  return std::atoi(sym_get_value(table.get(), name, "0"));
}

// The low eight bits of the number.
std::uint8_t byte(const OwnedTable& table, const char* name) {
  return static_cast<std::uint8_t>(number(table, name));
}

}  // namespace

int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater) {
  if (updateConfig == nullptr || mainConfig == nullptr || updater == nullptr) return kFailed;

  const OwnedTable paths = load(mainConfig);
  if (paths == nullptr) return kFailed;
  const OwnedTable update = load(updateConfig);
  if (update == nullptr) return kFailed;

  try {
    updater->SetValues(filledText(paths, "path:BasesPath"), filledText(paths, "path:TempPath"),
                       filledText(paths, "path:BackUpPath"), byte(update, "Update:UseProxy"),
                       sym_get_value(update.get(), "Update:ProxyServer", nullptr),
                       static_cast<std::uint32_t>(number(update, "Update:ProxyPort")),
                       byte(update, "Update:ProxyAuth"), filledText(update, "Update:ProxyUser"),
                       filledText(update, "Update:ProxyPass"), byte(update, "Update:UseHttps"),
                       byte(update, "Update:TimeOut"), byte(update, "Update:NoOfRetries"),
                       filledText(update, "Update:ServerList"));
  } catch (const QX_AVUpdateExceptions& error) {
    std::printf("Error: %s\n", error.detail());
  }
  return kDone;
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
