#include "app/update_command.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "app/display.h"
#include "config/ini_reader.h"
#include "config/symbol_table.h"
#include "engines/owned_string.h"
#include "engines/result.h"
#include "update/coordinator.h"

namespace {

// One configuration file's values, while they are copied out.
class Configuration {
 public:
  // Reads the file; isLoaded() tells whether that went well.
  explicit Configuration(const char* file)
      : table_(access(file, F_OK) == 0 ? sym_create_table_(nullptr, 0) : nullptr) {
    if (table_ != nullptr) ini_dyn_load(table_.get(), file);
  }

  bool isLoaded() const { return table_ != nullptr; }

  // A copy of the value; null when it is absent.
  OwnedString text(const char* name) const {
    return copyString(sym_get_value(table_.get(), name, nullptr));
  }

  // The same, null also when it is empty.
  OwnedString filledText(const char* name) const {
    OwnedString value = text(name);
    return value != nullptr && *value != '\0' ? std::move(value) : nullptr;
  }

  // 0 when absent or not a number.
  int number(const char* name) const { return std::atoi(sym_get_value(table_.get(), name, "0")); }

  // The low eight bits of the number.
  std::uint8_t byte(const char* name) const { return static_cast<std::uint8_t>(number(name)); }

 private:
  struct DeleteTable {
    void operator()(SymbolTable* table) const { sym_delete_table(table); }
  };
  std::unique_ptr<SymbolTable, DeleteTable> table_;
};

}  // namespace

int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater) {
  if (updateConfig == nullptr || mainConfig == nullptr || updater == nullptr) return -1;

  const Configuration paths(mainConfig);
  if (!paths.isLoaded()) return -1;
  const OwnedString basePath = paths.filledText("path:BasesPath");
  const OwnedString tempPath = paths.filledText("path:TempPath");
  const OwnedString backupPath = paths.filledText("path:BackUpPath");

  const Configuration update(updateConfig);
  if (!update.isLoaded()) return -1;
  const OwnedString proxyServer = update.text("Update:ProxyServer");
  const OwnedString proxyUser = update.filledText("Update:ProxyUser");
  const OwnedString proxyPassword = update.filledText("Update:ProxyPass");
  const OwnedString serverList = update.filledText("Update:ServerList");

  try {
    updater->SetValues(basePath.get(), tempPath.get(), backupPath.get(),
                       update.byte("Update:UseProxy"), proxyServer.get(),
                       static_cast<std::uint32_t>(update.number("Update:ProxyPort")),
                       update.byte("Update:ProxyAuth"), proxyUser.get(), proxyPassword.get(),
                       update.byte("Update:UseHttps"), update.byte("Update:TimeOut"),
                       update.byte("Update:NoOfRetries"), serverList.get());
  } catch (const QX_AVUpdateExceptions& error) {
    std::printf("Error: %s\n", error.detail());
  }
  return 0;
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
