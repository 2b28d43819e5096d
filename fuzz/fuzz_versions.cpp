// Property: every entry has three fields that are not empty, whatever versions.dat holds.

#include "engines/bd/bd_updater.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const InputFile file(data, size);
  std::vector<__QX_AvEntry> entries;
  const int count = QX_BDUpdater::GetDownloadList(file.path(), entries);
  require(count == static_cast<int>(entries.size()), "entries are counted");
  for (const __QX_AvEntry& entry : entries) {
    for (const std::string* field : {&entry.fileName, &entry.md5}) {
      require(!field->empty(), "no field is empty");
      require(field->find_first_of(" \n") == std::string::npos, "no field holds a separator");
    }
    require(entry.size != 0, "a size of 0 discards the line");
  }
  return 0;
}
