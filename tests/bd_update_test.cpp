// Whole updates of BitDefender-format bases: the real program, the real wget.

#include <csignal>
#include <filesystem>

#include "tests/update_fixture.h"

namespace {

const std::string kLogStart = "LOG: Update started from server TIME\n\n";
const std::string kInstall = "LOG: Update Installation started\n";
const std::string kLogDone = "LOG: Update done from server\n";

std::string fetched(const std::string& name) {
  return "LOG: Downloading file " + name + ".gzip done!\n";
}

std::string installedLine(const std::string& name) {
  return "Installed " + name + ".gzip\n";
}

class BdUpdate : public UpdateTest {
 protected:
  BdUpdate() : UpdateTest("bd") { std::filesystem::create_directory(bases + "/Plugins"); }

  // Publishes the files and remembers what a complete update leaves.
  void publishFiles(const Tree& files) {
    publish(files);
    complete = files;
    complete["versions.dat"] = published["versions.dat"];
  }

  void installAndPublishNewer() {
    publishFiles({{"a", kb('a')}, {"b", kb('b')}, {"Plugins/c", kb('c')}});
    runUpdatenow();
    ASSERT_EQ(readTree(bases), complete);
    before = complete;
    publishFiles({{"a", kb('x')}, {"b", kb('y')}, {"Plugins/c", kb('z')}});
  }

  static std::string kb(char c) { return std::string(1024, c); }
  std::string backedUp() const { return "LOG: Getting backup of current av database at " + backup + "\n"; }
  void expectNothingLeft() { EXPECT_TRUE(std::filesystem::is_empty(temp)); }

  Tree complete, before;
};

TEST_F(BdUpdate, InstallsUpdatesAndFindsNothingNew) {
  shell("rm -r " + bases);
  publishFiles({{"a", kb('a')}, {"b", kb('b')}, {"Plugins/c", kb('c')}});
  EXPECT_EQ(logOf(), locked(kLogStart + fetched("a") + fetched("b") + fetched("Plugins/c") + kInstall +
                            installedLine("a") + installedLine("b") + installedLine("Plugins/c") + kLogDone))
      << "nothing to back up";
  EXPECT_EQ(outcome.output, kStart + kAttempt + barLine(24, "(1KB/3KB) 33%") + barLine(49, "(2KB/3KB) 66%") +
                                barLine(75, "(3KB/3KB) 100%") + kInstalled + kDone + kSuccess);
  EXPECT_EQ(readTree(bases), complete);

  before = complete;
  publishFiles({{"a", kb('x')}, {"b", kb('b')}, {"n", kb('n')}});
  EXPECT_EQ(logOf(), locked(kLogStart + fetched("a") + fetched("n") + kInstall + backedUp() + installedLine("a") +
                            installedLine("n") + kLogDone));
  EXPECT_EQ(readTree(backup), before);

  // The first mirror that completes ends the run.
  configure("ServerList = 127.0.0.1:1," + mirror.address() + ",127.0.0.1:2");
  EXPECT_EQ(logOf(), locked(kLogStart + "Internet Connection Error\nLOG: Error downloading versions.dat\n" + kLogStart +
                            "LOG: No update found. Virus database is up to date\n"));
  EXPECT_EQ(outcome.output,
      kStart + kAttempt + "\n***Err: Internet Connection Error\n" + kAttempt + kNothingNew + kDone + kSuccess);
  expectNothingLeft();

  // An index that a full disk has left empty hides nothing.
  writeFile(bases + "/versions.dat", "");
  writeFile(bases + "/b", "damaged");
  runUpdatenow();
  complete["Plugins/c"] = kb('c');
  EXPECT_EQ(readTree(bases), complete);
}

TEST_F(BdUpdate, WrongFilesAreRolledBack) {
  installAndPublishNewer();
  const std::string gzip = published["avx/b.gzip"];
  shell("printf wrong | gzip >wrong");
  for (const std::string& path : {backup, std::string()}) {
    configure("BackUpPath=" + path + "\nServerList=" + mirror.address());
    const std::string shown = path.empty() ? temp + "/avbackdir" : path;
    for (const std::string& body : {readFile("wrong"), std::string("no gzip"), gzip.substr(0, gzip.size() / 2)}) {
      mirror.answer("/avx/b.gzip", {body});
      EXPECT_EQ(logOf(), locked(kLogStart + fetched("a") + fetched("b") + fetched("Plugins/c") + kInstall +
                                "LOG: Getting backup of current av database at " + shown + "\n" + installedLine("a") +
                                "LOG: md5sum mismatch for " + bases + "/b\n"));
      EXPECT_EQ(outcome.output.substr(outcome.output.find('\n', 120)),
          "\n***Err: md5sum mismatch for " + bases + "/b\n" + kDone + kSuccess);
      Tree now = readTree(bases);
      now.erase("b.gzip");  // what a failed gunzip leaves
      EXPECT_EQ(now, before);
      expectNothingLeft();
    }
  }
  EXPECT_EQ(readFile(backup + "/versions.dat"), before["versions.dat"]) << "a configured backup stays";
  mirror.serve(published);
  runUpdatenow();
  EXPECT_EQ(readTree(bases), complete);
}

TEST_F(BdUpdate, FailedDownloadInstallsNothing) {
  installAndPublishNewer();
  std::filesystem::remove_all(backup);
  mirror.answer("/avx/b.gzip", {"gone", 404});
  EXPECT_EQ(logOf(), locked(kLogStart + fetched("a") + "LOG: Downloading file b.gzipDownload server error\n error!\n"));
  EXPECT_EQ(outcome.output, kStart + kAttempt + barLine(24, "(1KB/3KB) 33%") + "\n***Err: Download server error\n" +
                                "\n***Err: Error downloading b.gzip\n" + kDone + kSuccess);
  EXPECT_EQ(readTree(bases), before);
  EXPECT_FALSE(exists(backup));
  EXPECT_EQ(mirror.requests().back(), "/avx/b.gzip");

  // A backup that cannot be begun: the command is not to be run at all.
  mirror.serve({{"versions.dat", "+ x abc ../b 12\n"}});
  EXPECT_EQ(logOf(), locked(kLogStart + "LOG: Invalid file name (../b)\n"));
  EXPECT_EQ(outcome.output, kStart + kAttempt + kFailure);
  expectNothingLeft();
}

TEST_F(BdUpdate, TellsWhyADownloadFailed) {
  const std::string none = "Download error. Varify connection settings";
  const std::string proxy = "UseProxy=1\nProxyServer=127.0.0.1\nProxyPort=1\n";
  Mirror silent;
  silent.answer("/versions.dat", {"", 200, Reply::Held});
  const struct {
    std::string lines, wgetLog, message;  // a log: of a stand-in for wget; "-" for none at all
  } cases[] = {{"ServerList=127.0.0.1:1", "", "Internet Connection Error"},
      {"ServerList=" + mirror.address(), "", "Download server error"},
      {"ServerList=" + silent.address(), "", "Internet Connection Error"}, {proxy + "ServerList=m", "", "Proxy Error"},
      {"ServerList=m", "failed: Connection timed out.\nERROR 404: Not Found.", "Internet Connection Error"},
      {"ServerList=m", "404 nOt fOUND\nconnection refused", "Download server error"},
      {"ServerList=m", "  CONNECTION REFUSED.\r", "Internet Connection Error"}, {"ServerList=m", "no route\n", none},
      {"ServerList=m", std::string(255, 'x') + "\ntimed out", none},
      {"ServerList=m", std::string(245, 'x') + "timed out\n", "Internet Connection Error"},
      {"ServerList=m", "-", "Error downloading"}};
  for (const auto& c : cases) {
    configure(c.lines);
    writeFile("wget.log", c.wgetLog);
    const std::string path = standIn(
        "wget", "touch \"${10}\"; " + std::string(c.wgetLog == "-" ? "" : "cp " + scratch + "/wget.log \"$4\""));
    const std::string logged = logOf(c.wgetLog.empty() ? Strings{} : Strings{path});
    const std::string line =
        c.message == "Error downloading" ? "LOG: Error downloading versions.dat\n" : c.message + "\n";
    const std::string using_ = c.lines[0] == 'U' ? "LOG: Using Proxy 127.0.0.1:1\n" : "";
    EXPECT_EQ(logged, locked(using_ + kLogStart + line + "LOG: Error downloading versions.dat\n"))
        << c.lines << c.wgetLog;
    EXPECT_EQ(outcome.output, kStart + kAttempt + "\n***Err: " + c.message + "\n" + kFailure);
  }
}

TEST_F(BdUpdate, RunsTheDocumentedWgetCommand) {
  const std::string path =
      standIn("wget", "{ printf '<%s> ' \"$@\"; echo; env | grep _proxy= | sort; } >" + scratch + "/calls");
  const std::string log = "<-o> <" + temp + "/avupdate_wget.err> <--cache=off> <--server-response> ";
  const std::string target = "<http://m/versions.dat> <-O> <" + temp + "/avdowndir/versions.dat> \n";
  const std::string proxy =
      "UseProxy=1\nProxyServer=p\nProxyPort=3128\nProxyAuth=1\nProxyUser=\"u v\"\nProxyPass=\"$p'w\"\n";
  const std::string variables = "ftp_proxy=p:3128\nhttp_proxy=p:3128\nhttps_proxy=p:3128\n";
  const Strings cases[] = {
      {"TimeOut=30\nNoOfRetries=3", "<--tries=3> <--timeout=30> " + log + "<--proxy=off> " + target},
      {"TimeOut=4\nNoOfRetries=6", "<--tries=3> <--timeout=5> " + log + "<--proxy=off> " + target},
      {proxy + "UseProxy=0", "<--tries=2> <--timeout=5> " + log + "<--proxy=off> " + target},
      {proxy + "ProxyAuth=0", "<--tries=2> <--timeout=5> " + log + "<--proxy=on> " + target + variables},
      {proxy, "<--tries=2> <--timeout=5> " + log + "<--proxy=on> <--proxy-user=u v> <--proxy-passwd=$p'w> " + target +
                  variables}};
  for (const Strings& c : cases) {
    configure(c[0] + "\nServerList=m");
    runUpdatenow({path});
    EXPECT_EQ(readFile("calls"), c[1]);
  }
}

TEST_F(BdUpdate, InterruptEndsTheRun) {
  installAndPublishNewer();
  const std::string first = kLogStart + fetched("a");
  const std::string bar = barLine(24, "(1KB/3KB) 33%");
  for (const int signal : {SIGINT, SIGTERM}) {
    for (const std::string path : {"/versions.dat", "/avx/b.gzip"}) {
      Mirror held;
      held.serve(published);
      held.answer(path, {published[path.substr(1)], 200, Reply::Held});
      configure("ServerList = " + held.address());
      writeFile(logFile, "");
      Program program;
      ASSERT_TRUE(held.waitFor(path));
      kill(signal == SIGINT ? -program.pid() : program.pid(), signal);
      if (signal == SIGTERM) held.release();
      const bool isIndex = path == "/versions.dat";
      EXPECT_EQ(program.wait().output, kStart + kAttempt + (isIndex ? "" : bar) + kCancelledText);
      EXPECT_EQ(loggedNow(), locked(isIndex ? kLogStart : first + "LOG: Downloading file b.gzip cancelled!\n"));
      EXPECT_EQ(readTree(bases), before);
      expectNothingLeft();
    }
  }
  // During the installation, which runs to its end.
  configure("ServerList = " + mirror.address());
  const std::string path = standIn("gunzip", ">began; sleep 0.3; sleep 0.3; exec /usr/bin/gunzip \"$@\"");
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program({path});
    while (!exists("began")) usleep(1000);
    kill(signal == SIGINT ? -program.pid() : program.pid(), signal);
    const Outcome run = program.wait();
    EXPECT_EQ(run.output.substr(run.output.size() - kCancelledText.size()), kCancelledText);
    EXPECT_EQ(readTree(bases), complete) << loggedNow();
    expectNothingLeft();
    std::filesystem::remove("began");
    publishFiles({{"a", kb('1')}});
    complete.insert({{"b", kb('y')}, {"Plugins/c", kb('z')}});
  }
}

TEST_F(BdUpdate, SaysWhenTheTempDirectoryIsOfNoUse) {
  writeFile(temp, "");
  EXPECT_EQ(logOf(), locked("LOG: Error creating temp download dir " + temp + "/avdowndir (Not a directory)\n"));
  EXPECT_EQ(outcome.output, "\n***Err: Error creating dirs\n" + kFailure);
  configure("TempPath=" + temp + "/t\nServerList=m");
  EXPECT_EQ(logOf(), locked("LOG: Error accessing temp dir " + temp + "/t (Not a directory)\n"));
  EXPECT_EQ(outcome.output, kFailure);
}

}  // namespace
