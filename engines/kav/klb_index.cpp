// Reading avp.klb and the signature lines that it refers to.

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "engines/kav/entry_fields.h"
#include "engines/kav/kav_updater.h"
#include "engines/numbers.h"
#include "engines/result.h"
#include "engines/text_lines.h"

namespace {

constexpr std::size_t kEntryMax = 255;  // characters of an entry that count
constexpr long kSignatureTail = 60;     // a signature line with its line end
constexpr std::size_t kLineEndLength = 2;

// The n-th field, from 0, of the entry's comma-separated fields; nothing when no
// comma ends it.
std::optional<std::string_view> fieldOf(std::string_view entry, int n) {
  std::string_view rest = entry.substr(0, kEntryMax);
  for (;; --n) {
    const std::size_t comma = rest.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    if (n == 0) return rest.substr(0, comma);
    rest.remove_prefix(comma + 1);
  }
}

std::optional<std::string_view> shortFieldOf(std::string_view entry, int n) {
  const std::optional<std::string_view> field = fieldOf(entry, n);
  return field && field->size() < QX_KAVUpdater::kFieldBytes ? field : std::nullopt;
}

int copyField(const std::optional<std::string_view>& field, char* out) {
  if (!field) return kFailed;
  std::memcpy(out, field->data(), field->size());
  out[field->size()] = '\0';
  return kDone;
}

}  // namespace

std::optional<std::string_view> entryName(std::string_view entry) {
  return shortFieldOf(entry, 0);
}

std::optional<std::string_view> entrySignature(std::string_view entry) {
  return shortFieldOf(entry, 1);
}

int QX_KAVUpdater::GetDownloadList(const char* path, std::vector<std::string>& list) {
  LineReader reader(path, kIndexLineLimit);
  if (!reader.isOpen()) return kFailed;
  list.clear();
  bool inBases = false;
  std::string line;
  while (reader.next(line)) {
    line = withoutLeadingBlanks(withoutLineEnd(line));
    if (line.empty() || line[0] == ';') continue;
    if (line == "[bases]") {
      inBases = true;
    } else if (inBases) {
      if (line[0] == '[') break;
      const std::size_t equals = line.find('=');
      if (equals != std::string::npos) list.push_back(line.substr(equals + 1));
    }
  }
  return static_cast<int>(list.size());
}

int QX_KAVUpdater::getFname(const char* entry, char* name) {
  return copyField(entryName(entry), name);
}

int QX_KAVUpdater::getSign(const char* entry, char* sign) {
  return copyField(entrySignature(entry), sign);
}

std::int32_t QX_KAVUpdater::getSize(const char* entry) {
  const std::optional<std::string_view> field = fieldOf(entry, 2);
  return field ? listedSize(std::string(*field)) : kFailed;
}

int QX_KAVUpdater::getFileSig(const char* path, char* sig) {
  std::FILE* const file = std::fopen(path, "re");
  if (file == nullptr) return kFailed;
  // Fails for a shorter file, which is then read from its start.
  (void)std::fseek(file, -kSignatureTail, SEEK_END);
  char line[kSignatureLineBytes] = "";
  const bool read = std::fgets(line, sizeof line, file) != nullptr;
  std::fclose(file);
  const std::size_t length = std::strlen(line);
  if (!read || length < kLineEndLength) return kFailed;
  line[length - kLineEndLength] = '\0';
  std::memcpy(sig, line, length - kLineEndLength + 1);
  return kDone;
}

int QX_KAVUpdater::matchAvpKlb(const char* downloaded) const {
  const std::string installed = installedPath("avp.klb");
  if (access(installed.c_str(), R_OK) != 0) return IndexMissing;
  char newSig[kSignatureLineBytes];
  if (getFileSig(downloaded, newSig) < 0) {
    writeLog(log, "KLOG: Error getting downloaded file(%s) signature\n", downloaded);
    return kFailed;
  }
  char oldSig[kSignatureLineBytes];
  if (getFileSig(installed.c_str(), oldSig) < 0 || std::strcmp(newSig, oldSig) == 0)
    return IndexUnchanged;
  return IndexChanged;
}
