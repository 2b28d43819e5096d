// Whole updates: the real program, the real wget.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "app/progress.h"
#include "app/update_command.h"
#include "tests/bases.h"
#include "tests/mirror.h"
#include "update/coordinator.h"

void registerUpdates();

namespace {

class Update : public Installation {
 protected:
  explicit Update(const std::string& basesFormat = "kav") : format(basesFormat) { installed("a:a,b:b,c:c"); }

  // A new installation that holds the files; so does the mirror.
  void installed(const std::string& files) {
    install(format == "bd" ? 3 : 2);
    configure("ServerList=" + mirror.address());
    published(files, 1);
    if (files.empty()) return;
    writeTree(bases, filesOf(format, files));
    writeFile(bases + "/" + indexName(format), onMirror[indexName(format)]);
    std::filesystem::create_directory(bases + "/Plugins");
  }

  void published(const std::string& files, int number = 2) { mirror.serve(onMirror = mirrorOf(format, files, number)); }

  std::string format;
  Mirror mirror;
  Tree onMirror;
};

// A paragraph of tests/updates, which tells of its steps.
class Told : public Update {
 public:
  Told(const std::string& basesFormat, const Paragraph& paragraph, Words textWords)
      : Update(basesFormat), told(paragraph), words(std::move(textWords)) {
    for (auto& [word, text] : words)
      if (const std::size_t bar = text.find(" | "); bar != std::string::npos)
        text = format == "bd" ? text.substr(bar + 3) : text.substr(0, bar);
    words["mirror"] = mirror.address();
    words["other"] = other.address();
  }

 private:
  void TestBody() override {
    published("a:x,b:y,c:z");
    for (const Paragraph::Row& row : told.rows) {
      const testing::ScopedTrace trace(told.path.c_str(), row.line, row.step + " | " + row.text);
      try {
        step(row.step, expand(row.text, words));
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
    settle();
  }

  void step(const std::string& name, const std::string& text) {
    if (name == "asked for") {
      EXPECT_EQ(mirror.takeRequests(), wordsOf(text));
      return;
    }
    if (const auto found = untold.find(name); found != untold.end()) {
      if (text != "*") {
        EXPECT_EQ(now(name), text);
      }
      untold.erase(found);
      return;
    }
    settle();
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string first = text.substr(0, end), rest = text.substr(std::min(end + 1, text.size()));
    if (name == "installed") return installed(text);
    if (name == "published") return published(text);
    if (name == "mirror") return answer(mirror, first, rest);
    if (name == "other mirror") return answer(other, first, rest);
    if (name == "mirror mends") return mirror.serve(onMirror);
    if (name == "settings") return configure("ServerList=" + mirror.address() + "\n" + text);
    if (name == "damaged") return damage(text);
    if (name == "shell") return shell(text);
    if (name == "stand-in") return standIn(first, rest);
    if (name == "with") return void(before = text);
    if (name == "run") return run(text);
    FAIL() << "no such step";
  }

  // What a mirror shall answer: missing, empty, cut, half, silent or published, else
  // the body itself; ":w" is the file with other contents.
  void answer(Mirror& by, const std::string& file, const std::string& how) {
    const std::string name = mirrorName(format, file);
    Reply reply{how};
    if (how == "missing") reply.status = 404;
    if (how == "empty") reply.body.clear();
    if (how == "cut" || how == "half" || how == "published") reply.body = onMirror[name];
    if (how == "half") reply.body.resize(reply.body.size() / 2);
    if (how == "cut") reply.how = Reply::CutShort;
    if (how == "silent") reply.how = Reply::Silent;
    if (how[0] == ':') reply.body = mirrorOf(format, file + how, 0)[name];
    by.answer(name, reply);
  }

  void damage(const std::string& files) {
    for (const auto& [name, contents] : filesOf(format, files)) writeFile(bases + "/" + name, contents);
  }

  // Runs an update that shows this. What follows it in the paragraph tells what it has
  // left; what is not told of must be as before, or as it always is.
  void run(const std::string& console) {
    untold = {{"bases", now("bases")}, {"backup", now("backup")}, {"temp", "nothing"}, {"lock", "nothing"},
        {"status", "0"}, {"log", ""}};
    std::filesystem::remove(logFile);
    mirror.takeRequests();
    const Outcome outcome = runUpdatenow(before);
    status = outcome.status;
    noStandIns();
    before = "exec";
    EXPECT_EQ(outcome.output, console);
  }

  void settle() {
    for (const auto& [name, expected] : untold) EXPECT_EQ(now(name), expected) << name << " is not told of";
    untold.clear();
  }

  std::string now(const std::string& what) {
    if (what == "status") return std::to_string(status);
    if (what == "bases") return stateOf(format, bases);
    if (what == "backup") return stateOf(format, backup);
    if (what == "temp") return stateOf(format, temp);
    if (what == "lock" && !exists(lockFile)) return "nothing";
    std::string text = readFile(what == "lock" ? lockFile : logFile);
    text = std::regex_replace(text, std::regex("(updatenow:)[0-9]+"), "$1PID");
    return std::regex_replace(text, std::regex("(server )\\w{3} \\w{3} [ 0-9]{2} [0-9:]{8} [0-9]{4}\n"), "$1TIME\n");
  }

  const Paragraph told;
  Words words;
  Mirror other;
  // For the next run alone: what stands before the program in its command.
  std::string before = "exec";
  int status = 0;
  Words untold;  // of the last run: what -> what it must be
};

struct Watcher {
  int cancelAt;
  std::string mirror;
  Strings events = {};
};

int watch(int event, const char* text, std::int64_t total, std::int64_t done, void* user) {
  Watcher& watcher = *static_cast<Watcher*>(user);
  std::string told = std::to_string(event) + (text != nullptr ? text : "");
  if (text != nullptr && text == "http://" + watcher.mirror) told = std::to_string(event) + "M";
  if (total != 0 || done != 0) told += ":" + std::to_string(done) + "/" + std::to_string(total);
  watcher.events.push_back(told);
  return static_cast<int>(watcher.events.size()) == watcher.cancelAt ? ProgressCancel : 0;
}

TEST_F(Update, TellsOfEventsAndObeysTheAnswer) {
  Strings all;  // of the update that nobody cancels
  eachCase("events", [&](const Case& c) {
    format = c.at("format");
    installed("a:a,b:b");
    published("a:x,b:y");
    configure("ServerList=" + mirror.address() + "," + mirror.address());
    Watcher watcher{std::stoi(c.at("cancel")), mirror.address()};
    QX_AVUpdate updater;
    getValues(updateConfig.c_str(), mainConfig.c_str(), &updater);
    updater.LockUpdate("me");
    EXPECT_EQ(std::to_string(updater.UpdateNow(watch, &watcher)), c.at("result"));
    Strings expected(all.begin(), all.begin() + watcher.cancelAt);
    for (const std::string& event : wordsOf(c.at("events"))) expected.push_back(event);
    if (watcher.cancelAt == 0) all = expected = wordsOf(c.at("events"));
    EXPECT_EQ(watcher.events, expected);
    EXPECT_EQ(stateOf(format, bases), c.at("bases"));
  });
}

TEST_F(Update, RunsTheDocumentedWgetCommand) {
  eachCase("wget-commands", [&](const Case& c) {
    format = c.at("format");
    installed("");
    configure(c.at("settings") + "\nServerList=m");
    standIn("wget", "{ printf '<%s> ' \"$@\"; echo; env | grep _proxy= | sort; } >>calls");
    runUpdatenow();
    EXPECT_EQ(readFile("calls"), c.at("arguments") + " \n" + c.at("environment"));
  });
}

TEST_F(Update, TrustsCertificatesAsWgetDoes) {
  shell(
      "openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=127.0.0.1 "
      "-addext subjectAltName=IP:127.0.0.1 2>openssl.log");
  published("a:x,b:b,c:c");
  Mirror secure(true);
  secure.serve(onMirror);
  configure("UseHttps=1\nServerList=http://" + secure.address());
  runUpdatenow();
  EXPECT_EQ(stateOf(format, bases), "a:a,b:b,c:c,index:1");
  runUpdatenow("printf 'ca_certificate = cert.pem' >wgetrc; WGETRC=wgetrc exec");
  EXPECT_EQ(stateOf(format, bases), "a:x,b:b,c:c,index:2");
}

TEST_F(Update, PassesAProxyThatAsksForAPassword) {
  published("a:x,b:b,c:c");
  // Bound and silent, it keeps the port for the proxy alone.
  const int keeper = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), yes = 1;
  setsockopt(keeper, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof place;
  ASSERT_EQ(bind(keeper, reinterpret_cast<sockaddr*>(&place), size), 0);
  getsockname(keeper, reinterpret_cast<sockaddr*>(&place), &size);
  const std::string port = std::to_string(ntohs(place.sin_port));
  writeFile("proxy.conf", "Listen 127.0.0.1\nBasicAuth user pass-word\nLogFile \"proxy.log\"\nPort " + port + "\n");
  std::FILE* const proxy = popen("tinyproxy -d -c proxy.conf >proxy.out 2>&1 & echo $! >proxy.pid; wait", "w");
  shell("timeout 20 bash -c 'until : </dev/tcp/127.0.0.1/" + port + "; do sleep 0.01; done' 2>/dev/null");
  const std::string through = "ServerList=" + mirror.address() +
                              "\nUseProxy=1\nProxyServer=127.0.0.1\nProxyAuth=1\nProxyUser=user\nProxyPort=" + port;
  configure(through + "\nProxyPass=word");
  runUpdatenow();
  EXPECT_EQ(stateOf(format, bases), "a:a,b:b,c:c,index:1");
  configure(through + "\nProxyPass=pass-word");
  runUpdatenow();
  EXPECT_EQ(stateOf(format, bases), "a:x,b:b,c:c,index:2");
  EXPECT_NE(readFile("proxy.log").find("GET http://" + mirror.address()), std::string::npos);
  shell("kill $(cat proxy.pid)");
  pclose(proxy);
  close(keeper);
}

}  // namespace

// "== FORMAT NAME [VARIANT...]": FORMAT is kav, bd or both; {variant} in the rows.
void registerUpdates() {
  const std::string folder = SOURCE_DIR "/tests/updates/";
  for (const char* file : {"updates", "failures", "commands", "rollbacks"}) {
    static Words shared;
    if (shared.empty()) readParagraphs(folder + "words.txt", shared);
    Words words = shared;
    for (const Paragraph& paragraph : readParagraphs(folder + file + ".txt", words)) {
      Strings header = wordsOf(paragraph.header);
      const std::string formats = header.at(0) == "both" ? "kav bd" : header[0];
      if (header.size() == 2) header.emplace_back();
      for (const std::string& format : wordsOf(formats))
        for (std::size_t i = 2; i < header.size(); ++i) {
          words["variant"] = header[i];
          const std::string name = header[1] + (header[i].empty() ? "" : "/" + header[i]);
          testing::RegisterTest(format == "bd" ? "Bd" : "Kav", name.c_str(), nullptr, nullptr, paragraph.path.c_str(),
              paragraph.rows.at(0).line, [=]() -> Update* { return new Told(format, paragraph, words); });
        }
    }
  }
}
