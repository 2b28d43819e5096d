#include <cstdio>
#include <filesystem>
#include <map>
#include <system_error>

#include "engines/index_name.h"
#include "system/files.h"
#include "tools/check.h"

namespace fs = std::filesystem;

namespace {

// Whether an unfinished run has left an entry of this name.
bool isLeftOver(const EngineFormat& format, const std::string& name) {
  const std::string suffix = format.suffix;
  return name == journalName(format.index) || (!suffix.empty() && name.size() > suffix.size() &&
                                               name.rfind(suffix) == name.size() - suffix.size());
}

}  // namespace

std::string shown(std::string text) {
  for (char& c : text)
    if (c < ' ' || c > '~') c = '?';
  return text;
}

int checkFiles(const EngineFormat& format, const std::string& directory) {
  const auto files = format.read(directory + "/" + format.index);
  if (!files) {
    std::printf("no index: %s/%s\n", directory.c_str(), format.index);
    return kCritical;
  }
  std::map<std::string, std::string> listed;  // name -> proof
  for (const Wanted& file : *files) listed[normalisedName(file.name)] = file.proof;
  int status = kOk;
  for (const auto& [name, proof] : listed) {
    const std::string path = directory + "/" + name;
    if (format.proofOf(path) == proof) continue;
    std::printf("%s: %s\n", fileExists(path) ? "different" : "missing", shown(name).c_str());
    status = kCritical;
  }
  std::error_code error;
  for (fs::recursive_directory_iterator entry(directory, error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().lexically_relative(directory);
    const bool isJournal = name == journalName(format.index);
    if (isJournal) entry.disable_recursion_pending();
    // Plugins/cache.000 is the scanner's own cache. It may change at any time.
    if ((entry->is_directory(error) && !isJournal) || name == format.index ||
        name == "Plugins/cache.000" || listed.count(name) != 0)
      continue;
    std::printf("%s: %s\n", isLeftOver(format, name) ? "left over" : "foreign",
                shown(name).c_str());
    if (status == kOk) status = kWarning;
  }
  std::printf("%zu files listed, %s\n", listed.size(),
              status == kOk        ? "all as listed"
              : status == kWarning ? "all as listed, others beside them"
                                   : "not as listed");
  return status;
}
