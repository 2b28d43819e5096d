// Whole updates: the real program, the real wget.

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>

#include "tests/mirror.h"
#include "tests/sandbox.h"

namespace {

class Update : public Installation {
 protected:
  // The tables of steps may use the console's and the log's texts by name.
  Update() : words{{"mirror", mirror.address()}, {"other", other.address()}, {"scratch", scratch}} {
    eachCase("texts", [this](const Case& c) { words[c.at("word")] = c.at("text"); });
  }

  // Begins with an empty installation for bases in a format, "kav" or "bd".
  void start(const std::string& basesFormat) {
    format = basesFormat;
    install(format == "bd" ? 3 : 2);
    if (format == "bd") std::filesystem::create_directory(bases + "/Plugins");
    configure("ServerList=" + mirror.address());
    shell("rm -rf mirror");
    mirror.serve(published = {});
    indexes = 0;
  }

  // Puts bases on the mirror with their index: "a:x,b:y" are bases a and b, each
  // 1 KiB of its letter (with the signature line, in the format that has one).
  void publish(const std::string& files) {
    Tree sources;
    for (const std::string& file : wordsOf(files, ','))
      sources[file.substr(0, file.rfind(':'))] = std::string(format == "bd" ? 1024 : 964, file.back());
    writeTree("source", sources);
    shell(SOURCE_DIR "/scripts/publish-mirror " + format + " source mirror");
    mirror.serve(published = readTree("mirror"));
    known[published[format == "bd" ? "versions.dat" : "avp.klb"]] = std::to_string(++indexes);
    for (const auto& [name, contents] : format == "bd" ? sources : published)
      known.emplace(contents, contents.substr(0, 1));
  }

  // What a directory holds, written as for publish(); the number of an index
  // counts the publications, "?" is nothing that was ever published.
  std::string stateOf(const std::string& directory) const {
    if (!exists(directory)) return "none";
    std::string files;
    for (const auto& [name, contents] : readTree(directory)) {
      const auto label = known.find(contents);
      files += (files.empty() ? "" : ",") + name + ":" + (label == known.end() ? "?" : label->second);
    }
    return files;
  }

  // What a mirror shall answer: "/PATH HOW", HOW one of missing, silent,
  // published, cut and held, else the body itself or, as "@FILE", the file's.
  void answer(Mirror& by, const std::string& text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string path = text.substr(0, end), how = end < text.size() ? text.substr(end + 1) : "";
    Reply reply{how};
    if (how == "missing") reply.status = 404;
    if (how[0] == '@') reply.body = readFile(how.substr(1));
    if (how == "published" || how == "cut" || how == "held") reply.body = published[path.substr(1)];
    if (how == "cut") reply.how = Reply::CutShort;
    if (how == "held" || how == "silent") reply.how = Reply::Held;
    if (how == "silent") reply.body.clear();
    by.answer(path, reply);
  }

  // Runs an update with the stand-ins of the table; `with` goes in front of the program.
  void run(Strings with = {}) {
    writeFile(logFile, "");
    mirror.takeRequests();
    with.insert(with.begin(), standIns.begin(), standIns.end());
    take(runUpdatenow(with));
  }

  // Runs an update that is interrupted while it waits for a path of the mirror,
  // or for gunzip to end.
  void interrupt(const std::string& during, int signal) {
    writeFile(logFile, "");
    std::filesystem::remove("began");
    const std::string path = standIn("gunzip", ">began; sleep 0.3; sleep 0.3; exec /usr/bin/gunzip \"$@\"");
    Mirror own;
    own.serve(published);
    if (during != "gunzip") answer(own, during + " held");
    configure("ServerList=" + own.address());
    Program program({path});
    while (during == "gunzip" && !exists("began")) usleep(1000);
    ASSERT_TRUE(during == "gunzip" || own.waitFor(during));
    // SIGINT goes to the whole group, as from a terminal. Left alone by the
    // other, wget ends by itself.
    kill(signal == SIGINT ? -program.pid() : program.pid(), signal);
    if (signal != SIGINT) own.release();
    take(program.wait());
  }

  // Keeps what a run has left to be told, with PID and TIME for the numbers that
  // nobody knows, and demands that all of the run before was.
  void take(const Outcome& outcome) {
    EXPECT_EQ(console + log, "") << "not told of the run before";
    console = outcome.output;
    status = outcome.status;
    shell("sed -E 's/(updatenow:)[0-9]+/\\1PID/; s/(from server ).+/\\1TIME/' " + logFile + " >log");
    log = readFile("log");
    EXPECT_FALSE(exists(lockFile));
  }

  static void tell(std::string& untold, const std::string& text) {
    EXPECT_EQ(untold.substr(0, text.size()), text);
    untold.erase(0, text.size());
  }

  // Does the steps of a table one after the other. What a run shows and logs
  // must be told to the last character.
  void follow(const std::string& name) {
    using Step = std::function<void(const std::string& text)>;
    const std::map<std::string, Step> steps{
        {"format", [this](const std::string& text) { start(text); }},
        {"publish", [this](const std::string& text) { publish(text); }},
        {"configure", [this](const std::string& text) { configure(text); }},
        {"shell", [](const std::string& text) { shell(text); }},
        {"stand-in",
            [this](const std::string& text) {
              const std::size_t end = text.find(' ');
              standIns = {standIn(text.substr(0, end), text.substr(end + 1))};
            }},
        {"no stand-ins", [this](const std::string&) { standIns.clear(), shell("rm -r bin"); }},
        {"mirror", [this](const std::string& text) { answer(mirror, text); }},
        {"other mirror", [this](const std::string& text) { answer(other, text); }},
        {"mirror mends", [this](const std::string&) { mirror.serve(published); }},
        {"run", [this](const std::string& text) { run(wordsOf(text)); }},
        {"SIGINT during", [this](const std::string& text) { interrupt(text, SIGINT); }},
        {"SIGTERM during", [this](const std::string& text) { interrupt(text, SIGTERM); }},
        {"status", [this](const std::string& text) { EXPECT_EQ(std::to_string(status), text); }},
        {"console", [this](const std::string& text) { tell(console, text); }},
        {"log", [this](const std::string& text) { tell(log, text); }},
        {"bases", [this](const std::string& text) { EXPECT_EQ(stateOf(bases), text); }},
        {"backup", [this](const std::string& text) { EXPECT_EQ(stateOf(backup), text); }},
        {"asked for", [this](const std::string& text) { EXPECT_EQ(mirror.takeRequests(), wordsOf(text)); }},
    };
    eachCase(
        name, [&](const Case& c) { steps.at(c.at("step"))(c.at("text")); }, words);
    take({});
  }

  Mirror mirror, other;
  Tree words;
  std::string format;
  Tree published, known;  // known: contents -> the letter or number they are written as
  int indexes = 0;
  Strings standIns;
  // Of the last run; console and log without what was told already.
  std::string console, log;
  int status = 0;
};

TEST_F(Update, InstallsKavBasesAndFindsNothingNew) {
  follow("kav-updates");
}
TEST_F(Update, InstallsBdBasesAndFindsNothingNew) {
  follow("bd-updates");
}
TEST_F(Update, FailedTransferLeavesKavBasesAlone) {
  follow("kav-failed-transfers");
}
TEST_F(Update, FailedTransferLeavesBdBasesAlone) {
  follow("bd-failed-transfers");
}
TEST_F(Update, WrongFilesAreRolledBack) {
  follow("bd-rollbacks");
}
TEST_F(Update, KavOutlivesWhatCommandsSay) {
  follow("kav-lies");
}
TEST_F(Update, BdOutlivesWhatCommandsSay) {
  follow("bd-lies");
}
TEST_F(Update, HostileIndexReachesNothingElse) {
  follow("hostile-indexes");
}
TEST_F(Update, InterruptLeavesBasesWhole) {
  follow("interrupts");
}
TEST_F(Update, ConfiguredPathsArriveWhole) {
  follow("configured-paths");
}
TEST_F(Update, SaysWhatIsWrongWithTheConfiguration) {
  follow("rejected-configurations");
}

TEST_F(Update, RunsTheDocumentedWgetCommand) {
  const std::string path =
      standIn("wget", "{ printf '<%s> ' \"$@\"; echo; env | grep _proxy= | sort; } >>" + scratch + "/calls");
  eachCase("wget-commands", [&](const Case& c) {
    start(c.at("format"));
    configure(c.at("settings") + "\nServerList=m");
    writeFile("calls", "");
    runUpdatenow({path});
    EXPECT_EQ(readFile("calls"), c.at("arguments") + " \n" + c.at("environment"));
  });
}

TEST_F(Update, TellsWhyADownloadFailed) {
  start("bd");
  const std::string path = standIn("wget", "touch \"${10}\"; test -z \"$(cat wget.log)\" || cp wget.log \"$4\"");
  eachCase("wget-errors", [&](const Case& c) {
    writeFile("wget.log", c.at("log"));
    run({path});
    tell(console, words["start"] + "\n***Err: " + c.at("shown") + "\n" + words["failure"]);
    tell(log, words["lock"] + "LOG: Update started from server TIME\n\n" + c.at("logged") +
                  "\nLOG: Error downloading versions.dat\n" + words["unlock"]);
  });
  take({});
}

TEST_F(Update, OneRunAtATime) {
  start("kav");
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
TEST_F(Update, StartsWellFromAnywhere) {
  start("kav");
  publish("a:a");
  shell("rmdir /var/Quorvex/var/log");
  EXPECT_EQ(runUpdatenow().output, "\n***ERR: Log not started\n");
  EXPECT_FALSE(exists(lockFile));
  shell("mkdir /var/Quorvex/var/log; rmdir /opt/Quorvex/var/run");
  EXPECT_EQ(runUpdatenow().output, "\n***ERR: Can not lock update\n");
  shell("mkdir /opt/Quorvex/var/run");
  runUpdatenow({"--ignore-signal=CHLD", "sh", "-c", "umask 0; exec \"$0\" <&- >&-"});
  EXPECT_EQ(stateOf(bases), "a:a,avp.klb:1");
  EXPECT_EQ(readFile(logFile).find("Update started\n"), std::string::npos);
  shell("test -z \"$(find /var/Quorvex /opt/Quorvex -type f -perm /022)\"");
  shell("rm -r " + bases + "/*");
  runUpdatenow({"sh", "-c", "\"$0\" | true"});
  EXPECT_EQ(stateOf(bases), "a:a,avp.klb:1") << "nobody reads the display";
}

TEST_F(Update, TrustsCertificatesAsWgetDoes) {
  shell(
      "openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 "
      "-addext subjectAltName=IP:127.0.0.1 2>openssl.log");
  start("kav");
  publish("a:a");
  Mirror secure(scratch);
  secure.serve(published);
  configure("UseHttps=1\nServerList=http://" + secure.address());
  EXPECT_EQ(runUpdatenow().output, words["start"] + "\nUpdate done\n" + words["failure"]);
  EXPECT_EQ(stateOf(bases), "");
  writeFile("wgetrc", "ca_certificate = " + scratch + "/cert.pem\n");
  runUpdatenow({"WGETRC=" + scratch + "/wgetrc"});
  EXPECT_EQ(stateOf(bases), "a:a,avp.klb:1");
}

TEST_F(Update, PassesAProxyThatAsksForAPassword) {
  start("kav");
  publish("a:a");
  const std::string port = Mirror().address().substr(10);  // a free one
  writeFile("proxy.conf", "Listen 127.0.0.1\nBasicAuth user pass-word\nPidFile \"" + scratch +
                              "/proxy.pid\"\nLogFile \"" + scratch + "/proxy.log\"\nPort " + port + "\n");
  shell("tinyproxy -c proxy.conf >proxy.out 2>&1; timeout 20 sh -c 'until test -s proxy.pid; do sleep 0.01; done'");
  const std::string through =
      "ServerList=" + mirror.address() + "\nUseProxy=1\nProxyServer=127.0.0.1\nProxyAuth=1\nProxyUser=user\nProxyPort=";
  configure(through + port + "\nProxyPass=word");
  EXPECT_EQ(runUpdatenow().output, words["start"] + "\nUpdate done\n" + words["failure"]);
  configure(through + port + "\nProxyPass=pass-word");
  runUpdatenow();
  shell("kill $(cat proxy.pid)");
  EXPECT_EQ(stateOf(bases), "a:a,avp.klb:1");
  EXPECT_NE(readFile("proxy.log").find("GET http://" + mirror.address()), std::string::npos);

  // That proxy allows letters and digits alone in a password; this one only
  // tells what it was sent.
  Mirror proxy;
  configure(through + proxy.address().substr(10) + "\nProxyPass=\"p$a's\"");
  runUpdatenow();
  EXPECT_EQ(proxy.proxyCredentials(), "Basic dXNlcjpwJGEncw==");
}

}  // namespace
