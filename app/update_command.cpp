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

int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater) {
  if (updateConfig == nullptr || mainConfig == nullptr || updater == nullptr) return -1;

  const Configuration paths(mainConfig);
  if (!paths.isLoaded()) return -1;
  const Configuration update(updateConfig);
  if (!update.isLoaded()) return -1;

  try {
    updater->SetValues(paths.filledText("path:BasesPath"), paths.filledText("path:TempPath"),
                       paths.filledText("path:BackUpPath"), update.byte("Update:UseProxy"),
                       update.text("Update:ProxyServer"),
                       static_cast<std::uint32_t>(update.number("Update:ProxyPort")),
                       update.byte("Update:ProxyAuth"), update.filledText("Update:ProxyUser"),
                       update.filledText("Update:ProxyPass"), update.byte("Update:UseHttps"),
                       update.byte("Update:TimeOut"), update.byte("Update:NoOfRetries"),
                       update.filledText("Update:ServerList"));
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
