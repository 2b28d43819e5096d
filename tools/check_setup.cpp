#include <fnmatch.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

#include "config/ini_reader.h"
#include "config/symbol_table.h"
#include "engines/bd/bd_updater.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "engines/text_lines.h"
#include "system/file_commands.h"
#include "system/files.h"
#include "system/shell_word.h"
#include "tools/check.h"
#include "tools/check_setup_script.h"
#include "update/coordinator.h"
#include "update/paths.h"

namespace {

// Prints a line for each check and counts the problems.
struct Report {
  // `todo` says what to do about a problem. Without it all is well.
  void say(const std::string& found, const std::string& todo) {
    const std::string line = todo.empty() ? "ok      " + found : "PROBLEM " + found + ": " + todo;
    std::puts(shown(line).c_str());
    if (!todo.empty()) status = kCritical;
  }
  CheckStatus status = kOk;
};

// Returns the standard output of a command, or nothing when it cannot be run.
std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* const pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) return output;
  char text[256];
  while (std::fgets(text, sizeof text, pipe) != nullptr) output += text;
  pclose(pipe);
  return output;
}

// Patterns of fnmatch(3) for a setting, which is "SECTION:NAME=VALUE": what is meant to be one
// of ours, and what is one. Other programs may keep settings of their own in qxav.conf.
constexpr char kMeant[] = "@(Update:*|path:@(BasesPath|TempPath|BackUpPath)=*)";
constexpr char kValid[] =
    "@(path:@(BasesPath|TempPath|BackUpPath)=*|"
    "Update:@(@(ServerList|ProxyServer|ProxyUser|ProxyPass)=*|@(UseHttps|UseProxy|ProxyAuth)=[01]|"
    "ProxyPort=+([0-9])|NoOfRetries=[2-5]|"
    "TimeOut=@([5-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-5])))";

// Finds what the program passes over silently. It takes a value that is no number for 0.
void checkSettings(Report& report) {
  const OwnedTable table(ini_dyn_load(ini_dyn_load(nullptr, kMainConfig), kUpdateConfig));
  for (const Symbol* symbol = table->symbols; symbol != nullptr; symbol = symbol->next) {
    const std::string setting = symbol->name + "=" + symbol->value;
    if (fnmatch(kMeant, setting.c_str(), FNM_EXTMATCH | FNM_CASEFOLD) == 0 &&
        fnmatch(kValid, setting.c_str(), FNM_EXTMATCH) != 0)
      report.say(symbol->name,
                 "unknown, or its value is not allowed; see updates.conf(5), capitals count");
  }
}

// Asks the questions of check_setup.sh, which says what its lines mean.
void checkMachine(Report& report, const EngineSettings& settings, const char* folder) {
  std::string command = "sh -c " + shellWord(kCheckSetupScript) + " check_setup.sh";
  for (const char* const text : {settings.basePath, settings.tempPath, settings.backupPath, folder})
    command += " " + shellWord(text == nullptr ? "" : text);
  std::istringstream answers(outputOf(command));
  for (std::string line; std::getline(answers, line);) {
    const std::size_t tab = line.find('\t');
    report.say(line.substr(0, tab), line.substr(tab + 1));
  }
}

// Returns advice for a failure, found by words in wget's log. Some lines are skipped, since
// they may contain any of these words: those that begin with "--" hold addresses, and a good
// start tells the certificates that were loaded.
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
  const std::string text = withoutLineEnd(
      outputOf("grep -asv -e '^--' -e '^Loaded CA certificate' -e '^$' " + shellWord(wgetLog)));
  for (const auto& [words, todo] : kAdvice)
    if (strcasestr(text.c_str(), words) != nullptr) return todo;
  return "wget says: " + text.substr(text.rfind('\n') + 1);
}

// Fetches the index from each mirror as an update would, into a scratch directory.
void checkMirrors(Report& report, EngineSettings settings, const EngineFormat& format) {
  std::string scratch = fileExists(settings.tempPath) ? settings.tempPath : "/tmp";
  scratch += "/check.XXXXXX";
  if (mkdtemp(scratch.data()) == nullptr)
    return report.say("the mirrors were not asked", "no directory for temporary files is there");
  settings.tempPath = scratch.c_str();
  if (settings.proxyAddress(format).size() > format.proxyAddressMax)
    report.say("ProxyServer and ProxyPort", "together they are too long for this format");
  QX_BDUpdater updater;  // for both formats: its wget logs why a download failed
  if (updater.setValues(settings) < 0) report.say("ServerList", "no mirror in it can be used");
  for (const std::string& server :
       usableServers(settings.serverList, settings.useHttps != 0, nullptr)) {
    const bool came = updater.DownloadFile(server.c_str(), format.index, 0, false) == kDone;
    const auto files = came ? format.read(scratch + "/" + format.index) : std::nullopt;
    report.say("mirror " + server,
               !came ? adviceFor(scratch + "/avupdate_wget.err")
               : files && !files->empty()
                   ? ""
                   : "what answers is no index: a sign-in page, or another format");
  }
  updater.DeallocMemory();
  removeTree(scratch);
}

}  // namespace

int checkSetup(const EngineSettings& settings) {
  Report report;
  if (geteuid() != 0) {
    report.say("who runs this", "run it as root, since others cannot see all");
    return report.status;
  }
  const EngineFormat* const format = installedFormat();
  report.say(kVersionFile,
             format != nullptr ? "" : "it must begin with a format's number; see updatenow(8)");
  checkSettings(report);
  for (const auto& [setting, value] : {std::pair("BasesPath in qxav.conf", settings.basePath),
                                       {"TempPath in qxav.conf", settings.tempPath},
                                       {"ServerList in updates.conf", settings.serverList}})
    if (value == nullptr) report.say(setting, "set it, on a line without ';' before it");
  if (!settings.isProxyComplete())
    report.say("the proxy", "set server and port, user and password, or its flags to 0");
  checkMachine(report, settings, format != nullptr ? format->folder : nullptr);
  if (format == nullptr || !settings.areComplete()) return report.status;

  Places places{settings.basePath, settings.tempPath, settings.tempPath, {}};
  if (settings.backupPath != nullptr) places.backup = settings.backupPath;
  report.say("the directories lie apart", arePlacesApart(places, format->prefix, nullptr)
                                              ? ""
                                              : "one is or holds another; see qxav.conf(5)");
  checkMirrors(report, settings, *format);
  return report.status;
}
