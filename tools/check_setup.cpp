#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "engines/bd/bd_updater.h"
#include "engines/index_name.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "engines/text_lines.h"
#include "system/file_commands.h"
#include "system/files.h"
#include "tools/check.h"
#include "update/coordinator.h"
#include "update/paths.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLogLineLimit = 1022;

// Prints a line for each check and counts the problems.
class Report {
 public:
  // `todo` says what to do about a problem. Null means that all is well.
  void say(const std::string& found, const char* todo) {
    std::printf("%s %s%s%s\n", todo == nullptr ? "ok     " : "PROBLEM", found.c_str(),
                todo == nullptr ? "" : ": ", todo == nullptr ? "" : todo);
    if (todo != nullptr) ++problems_;
  }
  int status() const { return problems_ == 0 ? kOk : kCritical; }

 private:
  int problems_ = 0;
};

// Returns the standard output of a command, or nothing when it cannot be run.
std::string outputOf(const char* command) {
  std::string output;
  std::FILE* const pipe = popen(command, "re");
  if (pipe == nullptr) return output;
  char text[256];
  while (std::fgets(text, sizeof text, pipe) != nullptr) output += text;
  pclose(pipe);
  return output;
}

// Returns the directory, or its nearest parent that exists.
fs::path existing(fs::path directory) {
  std::error_code error;
  while (!fs::exists(directory, error) && directory.has_relative_path())
    directory = directory.parent_path();
  return directory;
}

std::uintmax_t sizeOf(const std::string& directory) {
  std::error_code error;
  std::uintmax_t size = 0;
  for (fs::recursive_directory_iterator entry(directory, error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
    if (entry->is_regular_file(error)) size += entry->file_size(error);
  return size;
}

void checkDirectory(Report& report, const char* what, const std::string& path,
                    std::uintmax_t needed) {
  const fs::path place = existing(path);
  const std::string found = what + (" " + path);
  struct stat status = {};
  struct statvfs space = {};
  if (stat(place.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
    return report.say(found, "it cannot be made; look at the directories above it");
  if (status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return report.say(found + ", where others than root may write to " + place.string(),
                      "chown it to root and chmod it to 755, or choose another place");
  if (statvfs(place.c_str(), &space) == 0 &&
      static_cast<std::uintmax_t>(space.f_bavail) * space.f_frsize < needed)
    return report.say(found + ", where less is free than the database takes", "make space");
  report.say(found, nullptr);
}

// Returns the directories that the service may write to. There are none when systemd does
// not know the service.
std::vector<std::string> writablePaths() {
  std::istringstream words(
      outputOf("systemctl show -p ReadWritePaths --value quorvex-updatenow.service 2>/dev/null"));
  std::vector<std::string> paths;
  // systemd allows "-" and "+" before a path, so the path begins at its first "/".
  for (std::string path; words >> path;)
    if (path.find('/') != std::string::npos) paths.push_back(path.substr(path.find('/')));
  return paths;
}

void checkUnit(Report& report, const std::vector<std::string>& directories) {
  const std::vector<std::string> writable = writablePaths();
  if (writable.empty()) return;
  for (const std::string& directory : directories) {
    bool covered = false;
    for (const std::string& path : writable)
      covered = covered || (directory + "/").rfind(path + "/", 0) == 0;
    if (!covered)
      report.say("the service may not write to " + directory,
                 "add it to ReadWritePaths (systemctl edit quorvex-updatenow); it must exist");
  }
}

// Returns advice for a failure, found by words in wget's log. Lines that begin with "--" hold
// addresses. An address may contain any of these words, so these lines are skipped.
std::string adviceFor(const std::string& wgetLog) {
  static constexpr struct {
    const char* words;
    const char* todo;
  } kAdvice[] = {
      {"unable to resolve", "its name is unknown; look at ServerList and at the name service"},
      {"certificate", "its certificate is not trusted; see ca_certificate in updates.conf(5)"},
      {" 407 ", "the proxy refuses user or password; look at ProxyAuth, ProxyUser, ProxyPass"},
      {"refused", "nobody answers there; look at the port, the proxy and firewalls"},
      {"timed out", "no answer in time; look at the network, the proxy and TimeOut"},
      {"not found", "it has no index there; look at the path in ServerList"},
  };
  std::string text;
  std::string last;
  LineReader reader(wgetLog, kLogLineLimit);
  for (std::string line; reader.next(line);) {
    if (line.rfind("--", 0) == 0) continue;
    text += line + "\n";
    if (!line.empty()) last = line;
  }
  for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  for (const auto& [words, todo] : kAdvice)
    if (text.find(words) != std::string::npos) return todo;
  return "wget says: " + printableName(last);
}

// Fetches the index from each mirror as an update would, into a scratch directory.
void checkMirrors(Report& report, EngineSettings settings, const EngineFormat& format) {
  std::string scratch = existing(settings.tempPath).string() + "/check.XXXXXX";
  if (mkdtemp(scratch.data()) == nullptr)
    return report.say("the mirrors were not asked", "the temp directory cannot be written to");
  settings.tempPath = scratch.c_str();
  const std::string proxy = settings.useProxy == 0 ? "" : settings.proxyServer;
  if (proxy.size() + 1 + std::to_string(settings.proxyPort).size() > format.proxyAddressMax)
    report.say("ProxyServer and ProxyPort", "together they are too long for this format");
  QX_BDUpdater updater;  // for both formats: its wget logs why a download failed
  if (updater.setValues(settings) < 0) report.say("ServerList", "no mirror in it can be used");
  const bool https = settings.useHttps != 0;
  for (const std::string& server : usableServers(settings.serverList, https, nullptr)) {
    const std::string index = scratch + "/" + format.index;
    if (updater.DownloadFile(server.c_str(), format.index, 0, false) != kDone) {
      report.say("mirror " + server, adviceFor(scratch + "/avupdate_wget.err").c_str());
      continue;
    }
    const auto files = format.read(index);
    report.say("mirror " + server,
               files && !files->empty()
                   ? nullptr
                   : "what answers is no index: a sign-in page, or another format");
  }
  updater.DeallocMemory();
  removeTree(scratch);
}

}  // namespace

int checkSetup(const EngineSettings& settings) {
  Report report;
  const EngineFormat* const format = installedFormat();
  report.say(kVersionFile, format != nullptr
                               ? nullptr
                               : "it must begin with 2 or, for BitDefender-format bases, 3");
  if (geteuid() != 0) report.say("who runs this", "run it as root, or it cannot see all");
  for (const auto& [setting, value] : {std::pair("BasesPath", settings.basePath),
                                       {"TempPath", settings.tempPath},
                                       {"ServerList", settings.serverList}})
    if (value == nullptr) report.say(setting, "set it");
  if (!settings.isProxyComplete())
    report.say("the proxy", "set server and port, user and password, or its flags to 0");
  if (format == nullptr || !settings.areComplete()) return report.status();

  const std::string wget = outputOf("wget --version 2>/dev/null");
  report.say("wget",
             wget.rfind("GNU Wget 1.", 0) == 0 ? nullptr : "GNU Wget 1.x is the one that works");

  Places places{settings.basePath, settings.tempPath, settings.tempPath, {}};
  if (settings.backupPath != nullptr) places.backup = settings.backupPath;
  report.say("the directories lie apart",
             arePlacesApart(places, format->prefix, nullptr)
                 ? nullptr
                 : "one is, holds or lies in another; see qxav.conf(5)");

  const std::uintmax_t size = sizeOf(places.base);
  std::vector<std::string> directories{places.base, places.temp};
  checkDirectory(report, "BasesPath", places.base, size);
  checkDirectory(report, "TempPath", places.temp, size);
  if (places.backup) {
    checkDirectory(report, "BackUpPath", *places.backup, size);
    directories.push_back(*places.backup);
  }
  if (!fileExists(places.base) && format->folder == nullptr)
    report.say("the database's directory", "make it: this format needs it to exist");
  else if (fileExists(places.base) && format->folder != nullptr)
    report.say(std::string("the database's folder ") + format->folder,
               fileExists(places.installed(format->folder)) ? nullptr : "make it: files go there");
  checkUnit(report, directories);
  checkMirrors(report, settings, *format);
  return report.status();
}
