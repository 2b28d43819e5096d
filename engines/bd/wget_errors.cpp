#include "engines/bd/wget_errors.h"

#include <algorithm>
#include <cinttypes>
#include <filesystem>
#include <optional>
#include <system_error>

#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/text_lines.h"

namespace {

constexpr std::size_t kErrorLineLimit = 254;
constexpr std::size_t kSavedLineLimit = 16384;  // one holds a path and a URL
constexpr char kSaved[] = " saved [";

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The cause that a line of wget's log names; DownloadErrGeneric for none.
int causeIn(std::string line, bool usesProxy) {
  std::transform(line.begin(), line.end(), line.begin(), lowerAscii);
  const auto contains = [&line](const char* text) { return line.find(text) != std::string::npos; };
  if (contains("connection refused"))
    return usesProxy ? QX_BDUpdater::DownloadErrProxy : QX_BDUpdater::DownloadErrConnection;
  if (contains("timed out")) return QX_BDUpdater::DownloadErrConnection;
  if (contains("not found")) return QX_BDUpdater::DownloadErrServer;
  return QX_BDUpdater::DownloadErrGeneric;
}

const char* messageFor(int cause) {
  switch (cause) {
    case QX_BDUpdater::DownloadErrProxy: return "Proxy Error";
    case QX_BDUpdater::DownloadErrConnection: return "Internet Connection Error";
    case QX_BDUpdater::DownloadErrServer: return "Download server error";
    default: return "Download error. Varify connection settings";
  }
}

}  // namespace

DownloadFailure downloadFailure(const std::string& wgetLog, bool usesProxy) {
  int cause = QX_BDUpdater::DownloadErrGeneric;
  LineReader reader(wgetLog, kErrorLineLimit);
  if (!reader.isOpen()) return {cause, nullptr};
  std::string line;
  while (cause == QX_BDUpdater::DownloadErrGeneric && reader.next(line))
    cause = causeIn(QX_UTILS::strtrim(QX_UTILS::strchop(line)), usesProxy);
  return {cause, messageFor(cause)};
}

// The last line "... saved [142/142]" counts: there may have been several tries.
bool hasSavedSize(const std::string& path, const std::string& wgetLog) {
  LineReader reader(wgetLog, kSavedLineLimit);
  std::optional<std::uintmax_t> bytes;
  std::string line;
  while (reader.next(line)) {
    const std::size_t saved = line.rfind(kSaved);
    if (saved != std::string::npos)
      bytes = std::strtoumax(line.c_str() + saved + sizeof kSaved - 1, nullptr, 10);
  }
  std::error_code error;
  return !bytes || *bytes == std::filesystem::file_size(path, error);
}
