#include "engines/bd/versions_index.h"

#include "app/interrupt.h"
#include "engines/bd/utils.h"
#include "engines/change_set.h"
#include "engines/text_lines.h"

namespace {

// Cuts the text at its last space. Returns the part behind it, or nothing when there is no
// space.
std::optional<std::string> cutLastField(std::string& text) {
  const std::size_t space = text.rfind(' ');
  if (space == std::string::npos) return std::nullopt;
  std::string field = text.substr(space + 1);
  text.resize(space);
  return field;
}

// The file of a line "+... DIGEST NAME SIZE", which is read from its end. Nothing for any
// other line.
std::optional<Wanted> parseEntry(std::string line) {
  if (line.empty() || line.front() != '+') return std::nullopt;
  const std::optional<std::string> size = cutLastField(line);
  const std::optional<std::string> name = cutLastField(line);
  const std::optional<std::string> digest = cutLastField(line);
  if (!digest || digest->empty() || name->empty()) return std::nullopt;
  const std::int32_t bytes = listedSize(*size);
  if (bytes == 0) return std::nullopt;  // also a size that is no number
  return Wanted{*name, *digest, bytes};
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
