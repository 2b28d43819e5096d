#include "engines/kav/klb_index.h"

#include "engines/change_set.h"
#include "engines/text_lines.h"

namespace {

constexpr std::size_t kEntryMax = 255;  // characters of an entry that count
constexpr long kSignatureTail = 60;     // a signature line with its line end
constexpr std::size_t kLineEndLength = 2;

// Field n, counted from 0, of a comma-separated entry. Nothing when no comma ends the field.
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
  return field && field->size() < kFieldBytes ? field : std::nullopt;
}

}  // namespace

std::optional<std::vector<std::string>> readKlb(const std::string& path) {
  LineReader reader(path, kIndexLineLimit);
  std::vector<std::string> entries;
  bool inBases = false;
  std::string line;
  while (reader.next(line)) {
    line = withoutLeadingBlanks(withoutLineEnd(line));
    if (line.empty() || line[0] == ';') continue;
    const std::size_t equals = line.find('=');
    if (line == "[bases]")
      inBases = true;
    else if (inBases && line[0] == '[')
      break;
    else if (inBases && equals != std::string::npos)
      entries.push_back(line.substr(equals + 1));
  }
  if (reader.failed()) return std::nullopt;
  return entries;
}

std::optional<std::vector<Wanted>> filesOfKlb(const std::string& path) {
  const auto entries = readKlb(path);
  if (!entries) return std::nullopt;
  std::vector<Wanted> files;
  for (const std::string& entry : *entries)
    if (const auto name = entryName(entry))
      files.push_back(
          {std::string(*name), std::string(entrySignature(entry).value_or("")), entrySize(entry)});
  return files;
}

std::optional<std::string_view> entryName(std::string_view entry) { return shortFieldOf(entry, 0); }

std::optional<std::string_view> entrySignature(std::string_view entry) {
  return shortFieldOf(entry, 1);
}

std::int32_t entrySize(std::string_view entry) {
  const std::optional<std::string_view> field = fieldOf(entry, 2);
  return field ? listedSize(std::string(*field)) : kFailed;
}

std::optional<std::string> signatureLine(const std::string& path) {
  const File file = openFile(path);
  if (file == nullptr) return std::nullopt;
  // This fails for a shorter file, which is then read from its start.
  (void)std::fseek(file.get(), -kSignatureTail, SEEK_END);
  char text[kSignatureLineBytes] = "";
  if (std::fgets(text, sizeof text, file.get()) == nullptr) return std::nullopt;
  const std::string line(text);
  if (line.size() < kLineEndLength) return std::nullopt;
  return line.substr(0, line.size() - kLineEndLength);
}
