// Property: the fields of every entry fit into their buffers, and a safe name stays in its
// directory, whatever avp.klb holds.

#include <cstring>
#include <filesystem>

#include "engines/index_name.h"
#include "engines/kav/kav_updater.h"
#include "fuzz/input.h"

namespace {

void checkName(const std::string& name) {
  if (!isSafeName(name, "avp.klb")) return;
  const std::string path = std::filesystem::path("/base/" + name).lexically_normal();
  require(path.rfind("/base/", 0) == 0, "a safe name stays in its directory");
  require(!isPlainName(name, "avp.klb") || path == "/base/" + name, "a plain name is the only one");
}

void checkEntry(const std::string& entry) {
  require(entry.find('\n') == std::string::npos, "an entry is one line");
  char name[QX_KAVUpdater::kFieldBytes];
  char sign[QX_KAVUpdater::kFieldBytes];
  const bool named = QX_KAVUpdater::getFname(entry.c_str(), name) == 0;
  if (named) {
    require(entry.compare(0, std::strlen(name) + 1, name + std::string(",")) == 0, "the name");
    checkName(name);
  }
  if (QX_KAVUpdater::getSign(entry.c_str(), sign) == 0)
    require(entry.find("," + std::string(sign) + ",") != std::string::npos, "the signature");
  QX_KAVUpdater::getSize(entry.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const InputFile file(data, size);
  std::vector<std::string> entries;
  const int count = QX_KAVUpdater::GetDownloadList(file.path(), entries);
  require(count == static_cast<int>(entries.size()), "entries are counted");
  for (const std::string& entry : entries) checkEntry(entry);

  char line[QX_KAVUpdater::kSignatureLineBytes];
  if (QX_KAVUpdater::getFileSig(file.path(), line) == 0)
    require(std::strlen(line) <= 62, "a signature line has at most 62 characters");
  return 0;
}
