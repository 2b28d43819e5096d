#include "engines/bd/wget_errors.h"

#include <cctype>
#include <cinttypes>
#include <cstring>
#include <filesystem>
#include <optional>

#include "engines/bd/bd_updater.h"
#include "engines/text_lines.h"

constexpr std::size_t kErrorLineLimit = 254;
constexpr std::size_t kSavedLineLimit = 16384;  // one holds a path and a URL
constexpr char kSaved[] = " saved [";

DownloadFailure downloadFailure(const std::string& wgetLog, bool usesProxy) {
  LineReader reader(wgetLog, kErrorLineLimit);
  if (!reader.isOpen()) return {QX_BDUpdater::DownloadErrGeneric, nullptr};
  std::string line;
  const auto says = [&line](const char* text) { return strcasestr(line.c_str(), text) != nullptr; };
  while (reader.next(line)) {
    const bool isRefused = says("connection refused");
    if (isRefused && usesProxy) return {QX_BDUpdater::DownloadErrProxy, "Proxy Error"};
    if (isRefused || says("timed out"))
      return {QX_BDUpdater::DownloadErrConnection, "Internet Connection Error"};
    if (says("not found")) return {QX_BDUpdater::DownloadErrServer, "Download server error"};
  }
  return {QX_BDUpdater::DownloadErrGeneric, "Download error. Varify connection settings"};
}

// wget's own line reads "2026-11-23 15:31:58 (2 MB/s) - 'PATH' saved [142/142]". Headers of
// the server may hold the same words, but they are indented. After several tries the last
// line counts.
bool hasSavedSize(const std::string& path, const std::string& wgetLog) {
  LineReader reader(wgetLog, kSavedLineLimit);
  std::optional<std::uintmax_t> bytes;
  std::string line;
  while (reader.next(line)) {
    const std::size_t saved = line.rfind(kSaved);
    if (saved != std::string::npos && std::isdigit(static_cast<unsigned char>(line[0])))
      bytes = std::strtoumax(line.c_str() + saved + sizeof kSaved - 1, nullptr, 10);
  }
  std::error_code error;
  return !bytes || *bytes == std::filesystem::file_size(path, error);
}
