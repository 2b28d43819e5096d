#include "engines/bd/versions_index.h"

#include "app/interrupt.h"
#include "engines/bd/utils.h"
#include "engines/change_set.h"
#include "engines/text_lines.h"

namespace {

// Cuts the text at its last space. Returns the part behind it; it is empty when there is no
// space.
std::string cutLastField(std::string& text) {
  const std::size_t space = text.rfind(' ');
  if (space == std::string::npos) return "";
  std::string field = text.substr(space + 1);
  text.resize(space);
  return field;
}

// The file of a line "+... DIGEST NAME SIZE", which is read from its end. Nothing for any
// other line.
std::optional<Wanted> parseEntry(std::string line) {
  if (line.empty() || line.front() != '+') return std::nullopt;
  const std::int32_t size = listedSize(cutLastField(line));
  const std::string name = cutLastField(line);
  const std::string digest = cutLastField(line);
  // A size that is no number is 0, too.
  if (digest.empty() || name.empty() || size == 0) return std::nullopt;
  return Wanted{name, digest, size};
}

}  // namespace

std::optional<std::vector<Wanted>> readVersions(const std::string& path) {
  LineReader reader(path, kIndexLineLimit);
  std::vector<Wanted> entries;
  std::string line;
  while (!DownCancelled && reader.next(line))
    if (auto entry = parseEntry(QX_UTILS::strtrim(QX_UTILS::strchop(line))))
      entries.push_back(std::move(*entry));
  if (reader.failed()) return std::nullopt;
  return entries;
}
