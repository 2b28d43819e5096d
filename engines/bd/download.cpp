// Fetching one file of BitDefender-format bases, and why it failed.

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <filesystem>
#include <optional>
#include <system_error>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/command.h"
#include "engines/files.h"
#include "engines/numbers.h"
#include "engines/result.h"
#include "engines/shell_word.h"
#include "engines/text_lines.h"

namespace {

constexpr std::size_t kErrorLineLimit = 254;
constexpr std::size_t kLogLineLimit = 16 * 1024;  // one holds a path and a URL

char lowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The cause that a line of wget's log names; DownloadErrGeneric for none.
int causeIn(std::string line, bool useProxy) {
  std::transform(line.begin(), line.end(), line.begin(), lowerAscii);
  const auto contains = [&line](const char* text) { return line.find(text) != std::string::npos; };
  if (contains("connection refused"))
    return useProxy ? QX_BDUpdater::DownloadErrProxy : QX_BDUpdater::DownloadErrConnection;
  if (contains("timed out")) return QX_BDUpdater::DownloadErrConnection;
  if (contains("not found")) return QX_BDUpdater::DownloadErrServer;
  return QX_BDUpdater::DownloadErrGeneric;
}

const char* messageFor(int cause) {
  switch (cause) {
    case QX_BDUpdater::DownloadErrProxy:
      return "Proxy Error";
    case QX_BDUpdater::DownloadErrConnection:
      return "Internet Connection Error";
    case QX_BDUpdater::DownloadErrServer:
      return "Download server error";
    default:
      return "Download error. Varify connection settings";
  }
}

// The number of bytes that a line "... saved [142/142]" tells of.
std::optional<std::uintmax_t> savedBytes(const std::string& line) {
  static constexpr char kSaved[] = " saved [";
  const std::size_t saved = line.rfind(kSaved);
  if (saved == std::string::npos) return std::nullopt;
  return std::strtoumax(line.c_str() + saved + sizeof kSaved - 1, nullptr, 10);
}

}  // namespace

int QX_BDUpdater::DownloadFile(const char* server, const char* file, unsigned int size,
                               bool notify) {
  const UpdateProgressCallback watcher = notify ? callback : nullptr;
  if (sendProgress(watcher, callbackData, ProgressFileStarted, file, totalBytes, doneBytes) ==
      ProgressCancel)
    return kCancelled;

  if (wgetCommand == nullptr || server == nullptr) return DownloadErrGeneric;
  const std::string target = downloadedPath(file);
  // The wget of a killed run may still be writing to a file of that name.
  unlink(target.c_str());
  const std::string url = std::string(server) + "/" + file;
  wgetSucceeded =
      runDownload(wgetCommand.get() + (" " + shellWord(url)) + " -O " + shellWord(target))
          .succeeded();
  if (DownCancelled) return kCancelled;
  if (!fileExists(target)) return DownloadErrGeneric;
  if (!hasContents(target)) return DownloadError(file);

  doneBytes = addBytes(doneBytes, static_cast<std::int32_t>(size));
  return sendFileFetched(watcher, callbackData, file, totalBytes, doneBytes) == ProgressCancel
             ? kCancelled
             : kDone;
}

int QX_BDUpdater::DownloadError(const char* file) {
  LineReader reader(wgetErrorFile != nullptr ? wgetErrorFile.get() : "", kErrorLineLimit);
  if (!reader.isOpen()) {
    send(ProgressError, "Error downloading");
    writeLog(log, "LOG: Error downloading %s\n", file);
    return DownloadErrGeneric;
  }
  int cause = DownloadErrGeneric;
  std::string line;
  while (cause == DownloadErrGeneric && reader.next(line))
    cause = causeIn(QX_UTILS::strtrim(QX_UTILS::strchop(line)), useProxy != 0);

  send(ProgressError, messageFor(cause));
  writeLog(log, "%s\n", messageFor(cause));
  return cause;
}

// Whether a file has as many bytes as wget says that it has saved, if it says so.
bool QX_BDUpdater::hasSavedSize(const std::string& path) const {
  LineReader reader(wgetErrorFile != nullptr ? wgetErrorFile.get() : "", kLogLineLimit);
  std::error_code error;
  std::optional<std::uintmax_t> saved;
  std::string line;
  while (reader.next(line))
    if (const std::optional<std::uintmax_t> bytes = savedBytes(line)) saved = bytes;
  return !saved || *saved == std::filesystem::file_size(path, error);
}
