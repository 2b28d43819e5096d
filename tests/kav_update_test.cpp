// Whole updates of Kaspersky-format bases: the real program, the real wget.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/update_fixture.h"

namespace {

const std::string kLogStart = "KLOG: Update started from server\n";
const std::string kLogNothingNew = "KLOG: No update found. Virus database is up to date\n";
const std::string kLogDone = "KLOG: Update done from server\n";

// A base that measures 1 KiB once its signature line was added.
std::string contents(char c) {
  return std::string(964, c);
}

std::string logLines(const std::string& before, const Strings& names, const std::string& after) {
  std::string lines;
  for (const std::string& name : names) lines += before + name + after;
  return lines;
}

class KavUpdate : public UpdateTest {
 protected:
  KavUpdate() : UpdateTest("kav") {}

  // Installs three bases and then publishes newer ones.
  void installAndPublishNewer() {
    publish({{"a", contents('a')}, {"b", contents('b')}, {"c", contents('c')}});
    runUpdatenow();
    ASSERT_EQ(readTree(bases), published);
    before = published;
    publish({{"a", contents('x')}, {"b", contents('y')}, {"c", contents('z')}});
    std::filesystem::remove_all(backup);
  }

  void expectUntouched(const std::string& what) {
    EXPECT_EQ(readTree(bases), before) << what;
    EXPECT_FALSE(exists(lockFile)) << what;
    EXPECT_FALSE(exists(backup)) << what;
  }

  Tree before;
};

TEST_F(KavUpdate, InstallsUpdatesAndFindsNothingNew) {
  configure("ServerList = " + mirror.address() + ",http://" + mirror.address());
  publish({{"a", contents('a')}, {"b", contents('b')}, {"gone", contents('g')}});
  const Strings names{"a", "b", "gone"};
  EXPECT_EQ(logOf(), locked(kLogStart + logLines("KLOG: Downloading file ", names, " done!\n") +
                            "KLOG: Update Installation started\nKLOG: Getting backup of current av database at " +
                            backup + "\n" + logLines("KLOG: Installing ", names, " ok!\n") +
                            "KLOG: Updating AV Index ok!\n" + kLogDone + kLogStart + kLogNothingNew));
  EXPECT_EQ(outcome.output, kStart + kAttempt + barLine(24, "(1KB/3KB) 33%") + barLine(49, "(2KB/3KB) 66%") +
                                barLine(75, "(3KB/3KB) 100%") + kInstalled + kAttempt + kNothingNew + kDone + kSuccess);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(readTree(backup), Tree());

  Tree kept = published;
  kept.erase("gone");
  publish({{"a", contents('a')}, {"b", contents('x')}, {"new", contents('n')}});
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + barLine(37, "(1KB/2KB) 50%") + barLine(75, "(2KB/2KB) 100%") +
                                       kInstalled + kAttempt + kNothingNew + kDone + kSuccess);
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(readTree(backup), kept) << "what was dropped is not in the backup either";

  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kNothingNew + kAttempt + kNothingNew + kDone + kSuccess);
  writeFile(bases + "/a", "damaged");
  shell("rm " + bases + "/new");
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(readTree(temp).size(), 1U) << "only the index that brought nothing new stays";
}

// Whatever goes wrong with a transfer: the database is what it was, the log says
// which file, the next mirror is tried and the next run mends.
TEST_F(KavUpdate, FailedTransferTouchesNothing) {
  installAndPublishNewer();
  const std::string page = "<html><body>Please sign in</body></html>\n" + std::string(900, ' ');
  const std::string noIndex = kLogStart + "KLOG: Error downloading avp.klb\n";
  const std::string noBase = kLogStart + "KLOG: Downloading file a done!\nKLOG: Downloading file b error!\n";
  const std::string mismatch = "KLOG: Signature mismatch in downloaded file(b)\n";
  const std::string first = barLine(24, "(1KB/3KB) 33%");
  const std::string error = "\n***Err: http://" + mirror.address() + "\n" + kInstalled + kDone + kSuccess;
  const std::string failed = kDone + kFailure;
  const struct {
    const char *name, *path;
    Reply reply;
    std::string console, logged;
  } cases[] = {
      {"missing", "/b", {"gone", 404}, first + error, noBase + kLogDone},
      {"empty", "/b", {""}, first + error, noBase + kLogDone},
      {"cut", "/b", {contents('y'), 200, Reply::CutShort}, first + error, noBase + kLogDone},
      {"page", "/b", {page}, first + barLine(49, "(2KB/3KB) 66%") + error, noBase + mismatch + kLogDone},
      {"index missing", "/avp.klb", {"gone", 404}, failed, noIndex},
      {"index empty", "/avp.klb", {""}, failed, noIndex},
      {"index cut", "/avp.klb", {published["avp.klb"], 200, Reply::CutShort}, failed, noIndex},
      {"index a page", "/avp.klb", {page}, kNothingNew + kDone + kSuccess, kLogStart + kLogNothingNew},
  };
  for (const auto& c : cases) {
    mirror.answer(c.path, c.reply);
    EXPECT_EQ(logOf(), locked(c.logged)) << c.name;
    EXPECT_EQ(outcome.output, kStart + kAttempt + c.console) << c.name;
    expectUntouched(c.name);
    mirror.serve(published);
  }
  Mirror broken;
  broken.serve({{"avp.klb", published["avp.klb"]}});
  configure("ServerList = no-such-host.invalid,127.0.0.1:1," + broken.address() + "," + mirror.address());
  EXPECT_NE(logOf().find(noIndex + noIndex + kLogStart + "KLOG: Downloading file a error!\n"), std::string::npos);
  EXPECT_EQ(readTree(bases), published);
}

TEST_F(KavUpdate, DeadMirrorIsNoSuccess) {
  configure("ServerList = 127.0.0.1:1");
  for (const char* blocked : {"", "/var/Quorvex/tmp"}) {
    if (*blocked != '\0') shell("rm -rf " + temp + "; touch " + temp);
    EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure) << blocked;
  }
  EXPECT_EQ(readTree(bases), Tree());
}

TEST_F(KavUpdate, HostileIndexReachesNothingElse) {
  installAndPublishNewer();
  const std::string signature(58, 's');
  for (const std::string name : {"../x", "/etc/x", "", "sub/../../x"}) {
    mirror.serve({{"avp.klb", "[bases]\r\nB=" + name + "," + signature + ",10,\r\n" + signature + "\r\n"}});
    EXPECT_EQ(logOf(), locked(kLogStart + "KLOG: Invalid file name (" + name + ")\n"));
    EXPECT_EQ(outcome.output, kStart + kAttempt + kDone + kFailure);
    expectUntouched(name);
    EXPECT_EQ(mirror.requests().back(), "/avp.klb") << "nothing else was asked for";
  }
  // Odd names are names like any other.
  publish(
      {{"x;touch y", contents('a')}, {"$(touch y)", contents('b')}, {"it's", contents('c')}, {"a b&c", contents('d')}});
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published);
  EXPECT_FALSE(exists("y"));
}

TEST_F(KavUpdate, ConfiguredPathsArriveWhole) {
  const std::string odd = "/var/Quorvex/a b'`touch y`&;#$";
  configure("BasesPath=\"" + odd + "b\"\nTempPath=\"" + odd + "t\"\nBackUpPath=\"" + odd +
            "u\"\nServerList=" + mirror.address());
  std::filesystem::create_directory(odd + "b");
  publish({{"a", contents('a')}});
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + barLine(75, "(1KB/1KB) 100%") + kInstalled + kDone + kSuccess);
  EXPECT_EQ(readTree(odd + "b"), published);
  EXPECT_TRUE(exists(odd + "u"));
  EXPECT_FALSE(exists("y"));
}

TEST_F(KavUpdate, RunsTheDocumentedWgetCommand) {
  const std::string calls = scratch + "/calls";
  const std::string path = standIn("wget", "{ printf '<%s> ' \"$@\"; echo; env | grep _proxy= | sort; } >>" + calls);
  const std::string off = "<--proxy=off> <--cache=off> <http://m", on = "<--proxy=on> <--cache=off> ";
  const std::string variables = "ftp_proxy=p:3128\nhttp_proxy=p:3128\nhttps_proxy=p:3128\n";
  const std::string proxy =
      "UseProxy=1\nProxyServer=p\nProxyPort=3128\nProxyAuth=1\nProxyUser=\"u v\"\nProxyPass=\"$p'w\"\n";
  const struct {
    std::string lines, call, variables;
  } cases[] = {
      {"TimeOut=30\nNoOfRetries=3", "<--tries=3> <--timeout=30> " + off, ""},
      {"TimeOut=4\nNoOfRetries=1", "<--tries=3> <--timeout=5> " + off, ""},
      {"TimeOut=255\nNoOfRetries=5", "<--tries=5> <--timeout=255> " + off, ""},
      {"TimeOut=300\nNoOfRetries=6", "<--tries=3> <--timeout=44> " + off, ""},
      {"TimeOut=x\nNoOfRetries=258\nUseProxy=256", "<--tries=2> <--timeout=5> " + off, ""},
      {"UseHttps=257", "<--tries=2> <--timeout=5> <--proxy=off> <--cache=off> <https://m", ""},
      {proxy + "UseProxy=0", "<--tries=2> <--timeout=5> " + off, ""},
      {proxy + "ProxyAuth=0", "<--tries=2> <--timeout=5> " + on + "<http://m", variables},
      {proxy, "<--tries=2> <--timeout=5> " + on + "<--proxy-user=u v> <--proxy-passwd=$p'w> <http://m", variables},
  };
  for (const auto& c : cases) {
    writeFile(calls, "");
    configure(c.lines + "\nServerList=m");
    runUpdatenow({path});
    EXPECT_EQ(readFile(calls), c.call + "/avp.klb> <-O> <" + temp + "/avp.klb> \n" + c.variables);
  }
}

TEST_F(KavUpdate, SaysWhatIsWrongWithTheConfiguration) {
  const std::string noBase = "\n***ERR: Invalid AV database path\n", noProxy = "Error: Invalid proxy server settings\n";
  const struct {
    std::string lines, console;
  } cases[] = {
      {"BasesPath=", "Error: Invalid AV database path\n" + noBase},
      {"TempPath=\"\"", "Error: Invalid temp path\n" + noBase},
      {"ServerList=", "Error: Invalid update server\n" + noBase},
      {"UseProxy=1\nProxyServer=p", noProxy + noBase},
      {"UseProxy=1\nProxyPort=1", noProxy + noBase},
      {"ProxyAuth=1\nProxyUser=u", noProxy + noBase},
      {"ProxyAuth=1\nProxyPass=u", noProxy + noBase},
      {"ServerList=ftp://m,a/http://b", kFailure},
  };
  for (const auto& c : cases) {
    configure("ServerList=m\n" + c.lines);
    const Outcome run = runUpdatenow();
    EXPECT_EQ(run.output, c.console) << c.lines;
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(exists(lockFile));
  }
  writeFile("/opt/Quorvex/etc/qxav-ver", "1\n");
  EXPECT_EQ(runUpdatenow().output, "Error: Unknow qxav installation\n\n***ERR: Unknow qxav installation\n");
  for (const char* file : {"updates.conf", "qxav.conf"}) {
    configure("");
    std::filesystem::remove(std::string("/opt/Quorvex/etc/") + file);
    const Outcome run = runUpdatenow();
    EXPECT_EQ(run.output, "Error reading configuration. Try again.\n");
    EXPECT_EQ(run.status, 1);
  }
  const Outcome run = runUpdatenow({"unshare", "--user", "--map-user=1000", "--map-group=1000"});
  EXPECT_EQ(run.output, "Needs root Privilages to update virus Database. Exit...\n");
  EXPECT_EQ(run.status, 0);
}

TEST_F(KavUpdate, InterruptLeavesTheDatabaseAlone) {
  installAndPublishNewer();
  const std::string first =
      kLogStart + "KLOG: Downloading file a done!\nKLOG: Downloading file b cancelled!\n" + kLogDone;
  const struct {
    const char* path;
    int signal;  // SIGINT goes to the whole group, as from a terminal
    std::string shown, logged;
  } cases[] = {
      {"/avp.klb", SIGINT, "", kLogStart},
      {"/avp.klb", SIGTERM, "", kLogStart},
      {"/b", SIGINT, barLine(24, "(1KB/3KB) 33%"), first},
      {"/b", SIGTERM, barLine(24, "(1KB/3KB) 33%"), first},
  };
  for (const auto& c : cases) {
    Mirror held;
    held.serve(published);
    held.answer(c.path, {published[c.path + 1], 200, Reply::Held});
    configure("ServerList = " + held.address());
    writeFile(logFile, "");
    Program program;
    ASSERT_TRUE(held.waitFor(c.path)) << c.path;
    kill(c.signal == SIGINT ? -program.pid() : program.pid(), c.signal);
    // Left alone by the signal, wget ends by itself.
    if (c.signal == SIGTERM) held.release();
    const Outcome run = program.wait();
    EXPECT_EQ(run.output, kStart + kAttempt + c.shown + kCancelledText) << c.path << c.signal;
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(loggedNow(), locked(c.logged));
    EXPECT_EQ(readTree(temp), Tree());
    expectUntouched(c.path);
  }
}

TEST_F(KavUpdate, OneRunAtATime) {
  // Each run holds its lock for long enough that all of them meet.
  const std::string path = standIn("wget", "echo >>" + scratch + "/ran; sleep 1; exit 1");
  for (const char* lock : {"", "updatenow:999999999", "garbage"}) {
    if (*lock != '\0') writeFile(lockFile, lock);
    std::vector<std::unique_ptr<Program>> programs;
    for (int i = 0; i < 24; ++i) programs.push_back(std::make_unique<Program>(Strings{path}));
    int refused = 0;
    for (const auto& program : programs)
      refused += program->wait().output == "\n***ERR: Update operation already locked\n" ? 1 : 0;
    EXPECT_EQ(refused, 23);
    EXPECT_EQ(readFile("ran"), "\n");
    std::filesystem::remove("ran");
    EXPECT_FALSE(exists(lockFile));
  }
}

// Descriptors, signals and a umask that a careless starter leaves behind.
TEST_F(KavUpdate, StartsWellFromAnywhere) {
  publish({{"a", contents('a')}});
  shell("rmdir /var/Quorvex/var/log");
  EXPECT_EQ(runUpdatenow().output, "\n***ERR: Log not started\n");
  EXPECT_FALSE(exists(lockFile));
  shell("mkdir /var/Quorvex/var/log");
  logOf({"--ignore-signal=CHLD", "sh", "-c", "umask 0; exec \"$0\" <&- >&-"});
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(loggedNow().find("Update started\n"), std::string::npos);
  shell("test -z \"$(find /var/Quorvex /opt/Quorvex -type f -perm /022)\"");
  shell("rm -r " + bases + "/*");
  runUpdatenow({"sh", "-c", "\"$0\" | true"});
  EXPECT_EQ(readTree(bases), published) << "nobody reads the display";
}

TEST_F(KavUpdate, TrustsCertificatesAsWgetDoes) {
  shell(
      "openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 "
      "-addext subjectAltName=IP:127.0.0.1 2>openssl.log");
  publish({{"a", contents('a')}});
  Mirror secure(scratch);
  secure.serve(published);
  configure("UseHttps=1\nServerList=http://" + secure.address());
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure);
  EXPECT_EQ(readTree(bases), Tree());
  writeFile("wgetrc", "ca_certificate = " + scratch + "/cert.pem\n");
  runUpdatenow({"WGETRC=" + scratch + "/wgetrc"});
  EXPECT_EQ(readTree(bases), published);
}

TEST_F(KavUpdate, PassesAProxyThatAsksForAPassword) {
  publish({{"a", contents('a')}});
  int port = 18888;
  do {
    ASSERT_LT(++port, 18988);
    writeFile("proxy.conf", "Listen 127.0.0.1\nBasicAuth user pass-word\nPidFile \"" + scratch +
                                "/proxy.pid\"\nLogFile \"" + scratch + "/proxy.log\"\nPort " + std::to_string(port) +
                                "\n");
  } while (std::system("tinyproxy -c proxy.conf >proxy.out 2>&1") != 0);
  const std::string through =
      "ServerList=" + mirror.address() + "\nUseProxy=1\nProxyServer=127.0.0.1\nProxyAuth=1\nProxyUser=user\nProxyPort=";
  configure(through + std::to_string(port) + "\nProxyPass=word");
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure);
  configure(through + std::to_string(port) + "\nProxyPass=pass-word");
  runUpdatenow();
  shell("kill $(cat proxy.pid)");
  EXPECT_EQ(readTree(bases), published);
  EXPECT_NE(readFile("proxy.log").find("GET http://" + mirror.address()), std::string::npos);

  // That proxy allows letters and digits alone in a password; this one only
  // tells what it was sent.
  Mirror proxy;
  configure(through + proxy.address().substr(10) + "\nProxyPass=\"p$a's\"");
  runUpdatenow();
  EXPECT_EQ(proxy.proxyCredentials(), "Basic dXNlcjpwJGEncw==");
}

}  // namespace
