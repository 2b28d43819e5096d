// Whole updates of Kaspersky-format bases: the real program, the real wget.

#include <csignal>
#include <cstdlib>

#include "tests/mirror.h"
#include "tests/sandbox.h"

namespace {

const std::string kStart = "Update started\n";
const std::string kAttempt = "File(s) downloading started. Please wait...\n";
const std::string kInstalled = barLine(75, "\nFile download done....\n");
const std::string kNothingNew = "\nDatabase already updated\n";
const std::string kDone = "\nUpdate done\n";
const std::string kSuccess = "Virus Database updated successfully\n";
const std::string kFailure = "\n***Error updating virus\n";
const std::string kCancelledText = "\n***Update cancelled before finish\n";

const std::string kLocked = "Update locked by updatenow:PID\n";
const std::string kUnlocked = "\nUnlocking update\n";
const std::string kLogStart = "KLOG: Update started from server\n";
const std::string kLogNothingNew = "KLOG: No update found. Virus database is up to date\n";
const std::string kLogDone = "KLOG: Update done from server\n";

// A base that measures 1 KiB once its signature line was added.
std::string contents(char c) {
  return std::string(964, c);
}

class KavUpdate : public Installation {
 protected:
  // Puts the bases on the mirror with their index.
  void publish(const Tree& sources) {
    shell("rm -rf " + scratch + "/source && mkdir " + scratch + "/source");
    writeTree(scratch + "/source", sources);
    shell(SOURCE_DIR "/scripts/publish-mirror kav " + scratch + "/source " + scratch + "/mirror");
    published = readTree(scratch + "/mirror");
    mirror.serve(published);
  }

  // Installs three bases and then publishes a newer `b` and `c`.
  void installAndPublishNewer() {
    configure({{"ServerList", mirror.address()}});
    publish({{"a", contents('a')}, {"b", contents('b')}, {"c", contents('c')}});
    ASSERT_EQ(runUpdatenow().output.substr(0, kStart.size()), kStart);
    before = readTree(bases);
    ASSERT_EQ(before, published);
    publish({{"a", contents('x')}, {"b", contents('y')}, {"c", contents('z')}});
    shell("rm -rf " + backup + " /var/Quorvex/var/log/updates.log");
  }

  void expectUntouched(const std::string& what) {
    EXPECT_EQ(readTree(bases), before) << what;
    EXPECT_FALSE(exists(lockFile)) << what;
  }

  Mirror mirror;
  Tree published;
  Tree before;
};

TEST_F(KavUpdate, InstallsUpdatesAndFindsNothingNew) {
  configure({{"ServerList", mirror.address() + ",http://" + mirror.address()}});
  publish({{"a", contents('a')}, {"b", contents('b')}, {"gone", contents('g')}});
  const Outcome first = runUpdatenow();
  EXPECT_EQ(first.output, kStart + kAttempt + barLine(24, "(1KB/3KB) 33%") +
                              barLine(49, "(2KB/3KB) 66%") + barLine(75, "(3KB/3KB) 100%") +
                              kInstalled + kAttempt + kNothingNew + kDone + kSuccess);
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(readTree(backup), Tree());
  std::string expected = kLocked + kLogStart;
  for (const char* name : {"a", "b", "gone"})
    expected += "KLOG: Downloading file " + std::string(name) + " done!\n";
  expected += "KLOG: Update Installation started\nKLOG: Getting backup of current av database at " +
              backup + "\n";
  for (const char* name : {"a", "b", "gone"})
    expected += "KLOG: Installing " + std::string(name) + " ok!\n";
  expected += "KLOG: Updating AV Index ok!\n" + kLogDone + kLogStart + kLogNothingNew + kUnlocked;
  EXPECT_EQ(log(), expected);

  const Tree old = published;
  publish({{"a", contents('a')}, {"b", contents('x')}, {"new", contents('n')}});
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + barLine(37, "(1KB/2KB) 50%") +
                                       barLine(75, "(2KB/2KB) 100%") + kInstalled + kAttempt +
                                       kNothingNew + kDone + kSuccess);
  EXPECT_EQ(readTree(bases), published);
  Tree kept = old;
  kept.erase("gone");
  EXPECT_EQ(readTree(backup), kept) << "what was dropped is not in the backup either";

  EXPECT_EQ(runUpdatenow().output,
            kStart + kAttempt + kNothingNew + kAttempt + kNothingNew + kDone + kSuccess);
  EXPECT_EQ(readTree(bases), published);

  writeFile(bases + "/a", "damaged");
  shell("rm " + bases + "/new");
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(readTree(temp).size(), 1U) << "only the index that brought nothing new stays";
}

// Whatever goes wrong with a transfer: the database is what it was, the log
// says which file, and the next run mends.
TEST_F(KavUpdate, FailedTransferTouchesNothing) {
  installAndPublishNewer();
  const std::string page = "<html><body>Please sign in</body></html>\n" + std::string(900, ' ');
  const std::string noIndex = kLogStart + "KLOG: Error downloading avp.klb\n";
  const std::string noBase = kLogStart +
                             "KLOG: Downloading file a done!\n"
                             "KLOG: Downloading file b error!\n";
  const std::string mismatch = "KLOG: Signature mismatch in downloaded file(b)\n";
  const std::string failedFile = kStart + kAttempt + barLine(24, "(1KB/3KB) 33%");
  const std::string error = "\n***Err: http://" + mirror.address() + "\n" + kInstalled + kDone;
  const struct {
    const char* name;
    std::string path;
    Reply reply;
    std::string console, logged;
  } cases[] = {
      {"missing", "/b", {"gone", 404}, failedFile + error + kSuccess, noBase + kLogDone},
      {"empty", "/b", {""}, failedFile + error + kSuccess, noBase + kLogDone},
      {"cut",
       "/b",
       {contents('y'), 200, Reply::CutShort},
       failedFile + error + kSuccess,
       noBase + kLogDone},
      {"page",
       "/b",
       {page},
       failedFile + barLine(49, "(2KB/3KB) 66%") + error + kSuccess,
       noBase + mismatch + kLogDone},
      {"index missing", "/avp.klb", {"gone", 404}, kStart + kAttempt + kDone + kFailure, noIndex},
      {"index empty", "/avp.klb", {""}, kStart + kAttempt + kDone + kFailure, noIndex},
      {"index cut",
       "/avp.klb",
       {published["avp.klb"], 200, Reply::CutShort},
       kStart + kAttempt + kDone + kFailure,
       noIndex},
      {"index a page",
       "/avp.klb",
       {page},
       kStart + kAttempt + kNothingNew + kDone + kSuccess,
       kLogStart + kLogNothingNew},
  };
  for (const auto& c : cases) {
    mirror.answer(c.path, c.reply);
    const Outcome outcome = runUpdatenow();
    EXPECT_EQ(outcome.output, c.console) << c.name;
    EXPECT_EQ(outcome.status, 0);
    expectUntouched(c.name);
    EXPECT_EQ(log(), kLocked + c.logged + kUnlocked) << c.name;
    EXPECT_FALSE(exists(backup));
    shell("rm /var/Quorvex/var/log/updates.log");
    mirror.serve(published);
  }

  // The mirror after a failing one is asked.
  Mirror broken;
  broken.serve({{"avp.klb", published["avp.klb"]}});
  configure({{"ServerList",
              "no-such-host.invalid,127.0.0.1:1," + broken.address() + "," + mirror.address()}});
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published);
  EXPECT_EQ(
      log().find(kLocked + noIndex + noIndex + kLogStart + "KLOG: Downloading file a error!\n"), 0U)
      << log();
}

TEST_F(KavUpdate, DeadMirrorIsNoSuccess) {
  configure({{"ServerList", "127.0.0.1:1"}});
  writeFile("/var/Quorvex/tmp", "");
  for (const char* tempKind : {"a file", "a directory"}) {
    EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure) << tempKind;
    shell("rm -rf " + temp);
  }
  EXPECT_EQ(readTree(bases), Tree());
}

TEST_F(KavUpdate, HostileIndexReachesNothingElse) {
  installAndPublishNewer();
  const std::string rest = "," + std::string(58, 's') + ",10,\r\n";
  for (const std::string name : {"../x", "/etc/x", "", "sub/../../x"}) {
    mirror.serve(
        {{"avp.klb", "[bases]\r\nB=" + name + rest + ";" + std::string(57, 'h') + "\r\n"}});
    EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure);
    expectUntouched(name);
    EXPECT_EQ(log(), kLocked + kLogStart + "KLOG: Invalid file name (" + name + ")\n" + kUnlocked);
    EXPECT_EQ(mirror.requests().back(), "/avp.klb") << "nothing else was asked for";
    shell("rm /var/Quorvex/var/log/updates.log");
  }
  // Odd names are names like any other.
  const std::string touched = scratch + "/touched";
  const std::string line = std::string(58, 's') + "\r\n";
  Tree odd;
  for (const std::string name : {"x;touch touched", "$(touch touched)", "it's", "a b&c"})
    odd[name] = line;
  publish(odd);
  Tree served = published;
  for (const auto& [name, body] : published) served[name] = body;
  mirror.serve(served);
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published) << log();
  EXPECT_FALSE(exists(touched));
}

TEST_F(KavUpdate, ConfiguredValuesArriveWhole) {
  const std::string odd = "/var/Quorvex/a b'$(touch y)&;\"#";
  const std::string quoted = "\"/var/Quorvex/a b'$(touch y)&;\\\"#\"";
  // `$(` refers to the environment in a configuration file; `$` alone does not.
  const auto withoutReference = [](std::string text) {
    return text.replace(text.find("$("), 2, "$ (");
  };
  const std::string path = withoutReference(odd);
  configure(
      {{"BasesPath", withoutReference(quoted)},
       {"TempPath", withoutReference(quoted).insert(1, "/var/Quorvex/t").replace(15, 13, " ")},
       {"BackUpPath", "\"/var/Quorvex/$HOME `touch y`\""},
       {"ServerList", mirror.address()}});
  ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  publish({{"a", contents('a')}});
  EXPECT_EQ(runUpdatenow().output,
            kStart + kAttempt + barLine(75, "(1KB/1KB) 100%") + kInstalled + kDone + kSuccess);
  EXPECT_EQ(readTree(path), published) << log();
  EXPECT_TRUE(exists("/var/Quorvex/$HOME `touch y`"));
  EXPECT_FALSE(exists(scratch + "/y"));
}

TEST_F(KavUpdate, RunsTheDocumentedWgetCommand) {
  const std::string environment =
      standIn("wget", "{ printf '<%s> ' \"$@\"; echo; env | grep _proxy= | sort; } >>" + scratch +
                          "/calls");
  const std::string off = "<--proxy=off> <--cache=off> ";
  const std::string on = "<--proxy=on> <--cache=off> ";
  const std::string variables = "ftp_proxy=p:3128\nhttp_proxy=p:3128\nhttps_proxy=p:3128\n";
  const std::map<std::string, std::string> proxy{
      {"UseProxy", "1"},  {"ProxyServer", "p"},     {"ProxyPort", "3128"},
      {"ProxyAuth", "1"}, {"ProxyUser", "\"u v\""}, {"ProxyPass", "\"$p'w\""}};
  const auto with = [](std::map<std::string, std::string> values,
                       const std::map<std::string, std::string>& more) {
    for (const auto& [key, value] : more) values[key] = value;
    return values;
  };
  const struct {
    std::map<std::string, std::string> values;
    std::string call, url, variables;
  } cases[] = {
      {{{"TimeOut", "30"}, {"NoOfRetries", "3"}},
       "<--tries=3> <--timeout=30> " + off,
       "http://m",
       ""},
      {{{"TimeOut", "4"}, {"NoOfRetries", "1"}},
       "<--tries=3> <--timeout=5> " + off,
       "http://m",
       ""},
      {{{"TimeOut", "255"}, {"NoOfRetries", "5"}},
       "<--tries=5> <--timeout=255> " + off,
       "http://m",
       ""},
      {{{"TimeOut", "300"}, {"NoOfRetries", "6"}},
       "<--tries=3> <--timeout=44> " + off,
       "http://m",
       ""},
      {{{"TimeOut", "x"}, {"NoOfRetries", "258"}, {"UseHttps", "257"}},
       "<--tries=2> <--timeout=5> " + off,
       "https://m",
       ""},
      {with(proxy, {{"UseProxy", "256"}}), "<--tries=2> <--timeout=5> " + off, "http://m", ""},
      {with(proxy, {{"ProxyAuth", "0"}}), "<--tries=2> <--timeout=5> " + on, "http://m", variables},
      {proxy, "<--tries=2> <--timeout=5> " + on + "<--proxy-user=u v> <--proxy-passwd=$p'w> ",
       "http://m", variables},
  };
  for (const auto& c : cases) {
    shell("rm -f " + scratch + "/calls");
    configure(with(c.values, {{"ServerList", "m"}}));
    runUpdatenow({environment});
    EXPECT_EQ(readFile(scratch + "/calls"),
              c.call + "<" + c.url + "/avp.klb> <-O> <" + temp + "/avp.klb> \n" + c.variables);
  }
}

TEST_F(KavUpdate, SaysWhatIsWrongWithTheConfiguration) {
  const auto rejected = [](const std::string& reason) {
    return "Error: " + reason + "\n\n***ERR: Invalid AV database path\n";
  };
  const std::string m = "http://m";
  const struct {
    std::map<std::string, std::string> values;
    std::string console;
  } cases[] = {
      {{{"BasesPath", ""}, {"ServerList", m}}, rejected("Invalid AV database path")},
      {{{"BasesPath", "\"\""}, {"ServerList", m}}, rejected("Invalid AV database path")},
      {{{"TempPath", ""}, {"ServerList", m}}, rejected("Invalid temp path")},
      {{}, rejected("Invalid update server")},
      {{{"UseProxy", "1"}, {"ProxyServer", "p"}, {"ServerList", m}},
       rejected("Invalid proxy server settings")},
      {{{"UseProxy", "1"}, {"ProxyPort", "1"}, {"ServerList", m}},
       rejected("Invalid proxy server settings")},
      {{{"ProxyAuth", "1"}, {"ProxyUser", "u"}, {"ServerList", m}},
       rejected("Invalid proxy server settings")},
      {{{"ServerList", "ftp://m"}}, kFailure},
  };
  for (const auto& c : cases) {
    configure(c.values);
    const Outcome outcome = runUpdatenow();
    EXPECT_EQ(outcome.output, c.console);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(exists(lockFile));
  }
  configure({{"ServerList", m}});
  writeFile("/opt/Quorvex/etc/qxav-ver", "1\n");
  EXPECT_EQ(runUpdatenow().output,
            "Error: Unknow qxav installation\n\n***ERR: Unknow qxav installation\n");
  for (const char* file : {"updates.conf", "qxav.conf"}) {
    configure({{"ServerList", m}});
    shell("rm /opt/Quorvex/etc/" + std::string(file));
    const Outcome outcome = runUpdatenow();
    EXPECT_EQ(outcome.output, "Error reading configuration. Try again.\n");
    EXPECT_EQ(outcome.status, 1);
  }
  const Outcome outsider =
      Program({}, {"unshare", "--user", "--map-user=1000", "--map-group=1000"}).wait();
  EXPECT_EQ(outsider.output, "Needs root Privilages to update virus Database. Exit...\n");
  EXPECT_EQ(outsider.status, 0);
}

TEST_F(KavUpdate, InterruptLeavesTheDatabaseAlone) {
  installAndPublishNewer();
  const std::string firstDone = kLogStart + "KLOG: Downloading file a done!\n";
  const struct {
    const char* name;
    std::string path;
    bool wholeGroup;
    std::string shown, logged;
  } cases[] = {
      {"index, Ctrl-C", "/avp.klb", true, "", kLogStart},
      {"index, SIGTERM", "/avp.klb", false, "", kLogStart},
      {"second file, Ctrl-C", "/b", true, barLine(24, "(1KB/3KB) 33%"),
       firstDone + "KLOG: Downloading file b cancelled!\n" + kLogDone},
      {"second file, SIGTERM", "/b", false, barLine(24, "(1KB/3KB) 33%"),
       firstDone + "KLOG: Downloading file b cancelled!\n" + kLogDone},
  };
  for (const auto& c : cases) {
    Mirror held;
    held.serve(published);
    held.answer(c.path, {published[c.path.substr(1)], 200, Reply::Held});
    configure({{"ServerList", held.address()}});
    Program program;
    ASSERT_TRUE(held.waitFor(c.path)) << c.name;
    if (c.wholeGroup)
      kill(-program.pid(), SIGINT);
    else
      kill(program.pid(), SIGTERM);
    // Left alone by the signal, wget ends by itself.
    if (!c.wholeGroup) held.release();
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.output, kStart + kAttempt + c.shown + kCancelledText) << c.name;
    EXPECT_EQ(outcome.status, 0);
    expectUntouched(c.name);
    EXPECT_EQ(log(), kLocked + c.logged + kUnlocked) << c.name;
    for (const char* left : {"/a", "/b", "/c", "/avp.klb"})
      EXPECT_FALSE(left != std::string("/b") && exists(temp + left)) << c.name << left;
    shell("rm /var/Quorvex/var/log/updates.log");
  }
}

TEST_F(KavUpdate, OneRunAtATime) {
  // Each run holds its lock for long enough that all of them meet.
  const std::string environment = standIn("wget", "echo >>" + scratch + "/ran; sleep 1; exit 1");
  configure({{"ServerList", "m"}});
  for (const char* lock : {"", "updatenow:999999999", "garbage"}) {
    if (*lock != '\0') writeFile(lockFile, lock);
    std::vector<std::unique_ptr<Program>> programs;
    for (int i = 0; i < 24; ++i)
      programs.push_back(std::make_unique<Program>(std::vector<std::string>{environment}));
    int refused = 0;
    for (const auto& program : programs)
      refused += program->wait().output == "\n***ERR: Update operation already locked\n" ? 1 : 0;
    EXPECT_EQ(refused, 23);
    EXPECT_EQ(readFile(scratch + "/ran"), "\n");
    shell("rm " + scratch + "/ran");
    EXPECT_FALSE(exists(lockFile));
  }
  shell("rm -r /var/Quorvex/var/log");
  EXPECT_EQ(runUpdatenow().output, "\n***ERR: Log not started\n");
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(KavUpdate, TrustsCertificatesAsWgetDoes) {
  shell("cd " + scratch +
        " && openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj "
        "/CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 2>/dev/null");
  publish({{"a", contents('a')}});
  Mirror secure(scratch);
  secure.serve(published);
  configure({{"ServerList", "http://" + secure.address()}, {"UseHttps", "1"}});
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure);
  EXPECT_EQ(readTree(bases), Tree());
  writeFile(scratch + "/wgetrc", "ca_certificate = " + scratch + "/cert.pem\n");
  runUpdatenow({"WGETRC=" + scratch + "/wgetrc"});
  EXPECT_EQ(readTree(bases), published);
}

TEST_F(KavUpdate, PassesAProxyThatAsksForAPassword) {
  publish({{"a", contents('a')}});
  std::map<std::string, std::string> values{{"ServerList", mirror.address()},
                                            {"UseProxy", "1"},
                                            {"ProxyServer", "127.0.0.1"},
                                            {"ProxyAuth", "1"},
                                            {"ProxyUser", "user"}};
  const std::string settings =
      "Listen 127.0.0.1\nTimeout 20\nBasicAuth user pass-word\nPidFile \"" + scratch +
      "/proxy.pid\"\nLogFile \"" + scratch + "/proxy.log\"\n";
  int port = 18888;
  do {
    writeFile(scratch + "/proxy.conf", settings + "Port " + std::to_string(++port) + "\n");
    ASSERT_LT(port, 18988);
  } while (std::system(("tinyproxy -c " + scratch + "/proxy.conf >/dev/null 2>&1").c_str()) != 0);

  values["ProxyPort"] = std::to_string(port);
  values["ProxyPass"] = "word";
  configure(values);
  EXPECT_EQ(runUpdatenow().output, kStart + kAttempt + kDone + kFailure);
  values["ProxyPass"] = "pass-word";
  configure(values);
  runUpdatenow();
  EXPECT_EQ(readTree(bases), published);
  EXPECT_NE(readFile(scratch + "/proxy.log").find("GET http://" + mirror.address()),
            std::string::npos);
  shell("kill $(cat " + scratch + "/proxy.pid)");

  // That proxy allows letters and digits alone in a password; this one only
  // tells what it was sent.
  Mirror proxy;
  values["ProxyPort"] = proxy.address().substr(proxy.address().find(':') + 1);
  values["ProxyPass"] = "\"p$a's\"";
  configure(values);
  runUpdatenow();
  EXPECT_EQ(proxy.proxyCredentials(), "Basic dXNlcjpwJGEncw==");
}

}  // namespace
