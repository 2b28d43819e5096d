#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/bd/versions_index.h"
#include "engines/index_name.h"
#include "engines/index_set_aside.h"
#include "engines/kav/kav_updater.h"
#include "system/files.h"
#include "tools/check.h"

namespace fs = std::filesystem;

namespace {

// The files that an index lists: name -> signature or digest. Nothing when it cannot be
// read.
std::optional<std::map<std::string, std::string>> listedFiles(const EngineFormat& format,
                                                              const std::string& index) {
  std::map<std::string, std::string> listed;
  if (&format == &kKavFormat) {
    const auto entries = readKlb(index);
    if (!entries) return std::nullopt;
    for (const std::string& entry : *entries)
      if (const auto name = entryName(entry))
        listed[normalisedName(*name)] = std::string(entrySignature(entry).value_or(""));
  } else {
    const auto entries = readVersions(index);
    if (!entries) return std::nullopt;
    for (const __QX_AvEntry& entry : *entries) listed[normalisedName(entry.fileName)] = entry.md5;
  }
  return listed;
}

bool isListedFile(const EngineFormat& format, const std::string& path, const std::string& proof) {
  return (&format == &kKavFormat ? signatureLine(path) : md5Of(path)) == proof;
}

bool isLeftOver(const EngineFormat& format, const std::string& name) {
  const std::size_t suffix = name.rfind(kBdSuffix);
  return name == waitingName(format.index) ||
         (&format == &kBdFormat && suffix != std::string::npos &&
          suffix + std::string(kBdSuffix).size() == name.size());
}

}  // namespace

int checkFiles(const Session& session, const std::string& directory) {
  const EngineFormat& format = *session.format;
  const auto listed = listedFiles(format, directory + "/" + format.index);
  if (!listed) {
    std::printf("no index: %s/%s\n", directory.c_str(), format.index);
    return kCritical;
  }
  int status = kOk;
  for (const auto& [name, proof] : *listed) {
    const std::string path = directory + "/" + name;
    if (isListedFile(format, path, proof)) continue;
    std::printf("%s: %s\n", fileExists(path) ? "different" : "missing", name.c_str());
    status = kCritical;
  }
  std::error_code error;
  for (fs::recursive_directory_iterator entry(directory, error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().lexically_relative(directory);
    // The scanner's own cache changes at any time.
    if (entry->is_directory(error) || name == format.index || name == "Plugins/cache.000" ||
        listed->count(name) != 0)
      continue;
    std::printf("%s: %s\n", isLeftOver(format, name) ? "left over" : "foreign", name.c_str());
    if (status == kOk) status = kWarning;
  }
  std::printf("%zu files listed, %s\n", listed->size(),
              status == kOk        ? "all as listed"
              : status == kWarning ? "all as listed, others beside them"
                                   : "not as listed");
  return status;
}
