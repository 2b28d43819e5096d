// The published operations of the updater for Kaspersky-format bases. Its run is in
// update_run.cpp.

#include "engines/kav/kav_updater.h"

#include <cstring>

#include "engines/kav/changes.h"

namespace {

constexpr std::size_t kCommandMax = 1022;

// Copies a text that fits into a caller's buffer.
int copyOut(const std::optional<std::string_view>& text, char* out) {
  if (!text) return kFailed;
  std::memcpy(out, text->data(), text->size());
  out[text->size()] = '\0';
  return kDone;
}

}  // namespace

int QX_KAVUpdater::setValues(const EngineSettings& settings) {
  return session.open(settings, [&settings] {
    return settings.wget() + settings.proxySwitch() + " --cache=off" +
           settings.proxyLogin(" \t\t\t    ") + " ";
  });
}

int QX_KAVUpdater::DownloadFile(const char* file, const char* server, std::int32_t size,
                                unsigned char notify) {
  if (file == nullptr) return kDone;
  if (!session.isOpen() || server == nullptr) return kFailed;
  return session.fetch(file, size, notify != 0, transfer(file, server));
}

// wget leaves an empty file when the server does not have the file. A file that is missing
// after status 0 is no failure here: the next reader of the file notices it.
Transfer QX_KAVUpdater::transfer(const char* file, const char* server) const {
  const std::string command = session.commandFor(server, file) + " > /dev/null 2>&1";
  // A cut command would write to another path.
  return {command.size() <= kCommandMax ? command : "",
          [](const std::string& target, bool succeeded) {
            return succeeded && (hasContents(target) || !fileExists(target)) ? kDone : kFailed;
          }};
}

int QX_KAVUpdater::GetDownloadList(const char* path, std::vector<std::string>& list) {
  auto entries = readKlb(path);
  if (!entries) return kFailed;
  list = std::move(*entries);
  return static_cast<int>(list.size());
}

int QX_KAVUpdater::getFname(const char* entry, char* name) {
  return copyOut(entryName(entry), name);
}

int QX_KAVUpdater::getSign(const char* entry, char* sign) {
  return copyOut(entrySignature(entry), sign);
}

int QX_KAVUpdater::getFileSig(const char* path, char* sig) {
  return copyOut(signatureLine(path), sig);
}

int QX_KAVUpdater::matchAvpKlb(const char* downloaded) const {
  const std::string installed = session.places.installed(kKavFormat.index);
  if (!isReadable(installed)) return IndexMissing;
  const std::optional<std::string> newLine = signatureLine(downloaded);
  if (!newLine) {
    writeLog(session.log, "KLOG: Error getting downloaded file(%s) signature\n", downloaded);
    return kFailed;
  }
  const std::optional<std::string> oldLine = signatureLine(installed);
  return !oldLine || newLine == oldLine ? IndexUnchanged : IndexChanged;
}

int QX_KAVUpdater::addToDownload(const char* downloaded, const char* installed,
                                 std::vector<std::int32_t>& sizes, std::vector<std::string>& names,
                                 std::vector<std::string>& signatures, std::int32_t* total) const {
  std::vector<Wanted> wanted;
  const int result = findWantedByKlb(session, downloaded, installed, wanted);
  for (const Wanted& file : wanted) {
    sizes.push_back(file.size);
    names.push_back(file.name);
    signatures.push_back(file.proof);
  }
  if (result != kDone) return result;
  *total = totalSize(wanted);
  return static_cast<int>(names.size());
}

int QX_KAVUpdater::addToDelete(const char* downloaded, const char* installed,
                               std::vector<std::string>& list) const {
  if (downloaded == nullptr || installed == nullptr) return kFailed;
  const int result = findDropped(session, downloaded, installed, list);
  return result == kDone ? static_cast<int>(list.size()) : result;
}
