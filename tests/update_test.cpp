// Whole updates: the real program, the real wget. The head of tests/cases/updates.txt
// says how they are written.

#include <cmath>
#include <ctime>
#include <filesystem>

#include "app/interrupt.h"
#include "app/progress.h"
#include "app/update_command.h"
#include "tests/mirror.h"
#include "update/coordinator.h"

namespace {

// With a word for the process number, or the time of now, that follows until the line's end.
std::string masked(std::string text, const std::string& after, const std::string& word) {
  for (std::size_t at = 0; (at = text.find(after, at)) != std::string::npos; at += after.size()) {
    const std::size_t begin = at + after.size(), size = std::min(text.find('\n', begin), text.size()) - begin;
    tm time{};
    time.tm_isdst = -1;
    const bool isNow = strptime(text.c_str() + begin, "%a %b %e %T %Y", &time) != nullptr &&
                       std::abs(std::difftime(mktime(&time), std::time(nullptr))) < 60;
    if (word == "PID" || isNow) text.replace(begin, size, word);
  }
  return text;
}

class Update : public Installation {
 public:
  Update(std::string basesFormat, Paragraph steps, Words texts)
      : format(std::move(basesFormat)), paragraph(std::move(steps)), words(std::move(texts)) {
    for (auto& [word, text] : words)
      if (const std::size_t bar = text.find(" | "); bar != std::string::npos)
        text = format == "bd" ? text.substr(bar + 3) : text.substr(0, bar);
    words["mirror"] = "127.0.0.1:" + mirror.port;
    words["port"] = mirror.port;
    words["build"] = std::filesystem::path(UPDATENOW).parent_path();
  }

 private:
  void TestBody() override {
    installed("a:a,b:b,c:c");
    published("a:x,b:y,c:z", 2);
    eachRow(paragraph, words, [this](const Strings& cells) { step(cells.at(0), cells); });
    settle();
  }

  // Another installation that holds the files; so does the mirror.
  void installed(const std::string& files) {
    install(format);
    configure("ServerList=" + words["mirror"]);
    published(files, 1);
    if (files.empty()) return;
    writeTree(bases, filesOf(format, files));
    writeFile(bases + "/" + indexName(format), onMirror[indexName(format)]);
    std::filesystem::create_directory(bases + "/Plugins");
  }

  void published(const std::string& files, int number) { mirror.serve(onMirror = mirrorOf(format, files, number)); }

  void step(const std::string& name, const Strings& cells) {
    const std::string text = cells.size() > 1 ? cells[1] : "", rest = cells.size() > 2 ? cells[2] : "";
    if (untold.count(name) != 0) {
      tell(name, text);
      if (cells.size() > 2) tell("backup", rest);
      return;
    }
    settle();
    if (name == "installed") return installed(text);
    if (name == "published") return published(text, 2);
    if (name == "mirror") return answer(text, rest);
    if (name == "mirror mends") return mirror.serve(onMirror);
    if (name == "settings") return configure("ServerList=" + words["mirror"] + "\n" + text);
    if (name == "shell") return shell("cd /var/Quorvex && " + text);
    if (name == "stand-in") return standIn(text, rest);
    if (name == "with") return before = text, void();
    if (name == "command") return command(text, rest, cells.at(3));
    if (name == "run") {
      run(text, rest);
    } else if (name == "updates") {
      const std::string files = text.empty() ? "a,b,c" : text, count = std::to_string(wordsOf(files, ",").size());
      run(expand("{start}{bars" + count + "}{downloaded}{done}", words),
          expand("{begun}{got " + files + "}{saving}{put " + files + "}{ended}", words));
      untold["bases"] = text.empty() ? "a:x,b:y,c:z,index:2" : rest;
    } else {
      FAIL() << "no such step";
    }
    if (cells.size() > 3) untold["bases"] = cells[3];
  }

  void answer(const std::string& file, const std::string& how) {
    const std::string packed = format == "bd" ? "avx/" + file + ".gzip" : file;
    const std::string name = file == "index" ? indexName(format) : packed;
    std::string body = how == "empty" ? "" : how == "cut" || how == "half" ? onMirror[name] : how;
    if (how == "half") body.resize(body.size() / 2);
    if (how == "other") body = mirrorOf(format, file + ":w", 0)[name];
    mirror.answer(name, how, body);
  }

  // Runs an update that shows and logs this. What follows in the paragraph tells what it
  // has left; what is not told of must be as before, or as it always is.
  void run(const std::string& console, const std::string& log) {
    untold = {{"bases", now("bases")}, {"backup", now("backup")}, {"temp", "nothing"}, {"lock", ""}, {"status", "0"}};
    untold["asked for"] = "*";
    std::filesystem::remove(logFile);
    mirror.takeRequests();
    const Outcome outcome = outcomeOf(std::exchange(before, "exec") + " " + updatenow);
    status = outcome.status;
    // Newer versions of wget say that of a proxy without a scheme, wherever their messages go.
    std::string shown = outcome.output;
    const std::size_t prepended = shown.find("Prepended http://");
    if (prepended != std::string::npos) shown.erase(prepended, shown.find('\n', prepended) + 1 - prepended);
    EXPECT_EQ(shown, console);
    EXPECT_EQ(now("log"), log);
    if (log.find("av database at " + backup + "\n") != std::string::npos)
      untold["backup"] = replaced(untold["bases"], ",waiting:1", "");
  }

  static void command(const std::string& wantedStatus, const std::string& text, const std::string& said) {
    const Outcome outcome = outcomeOf(text);
    EXPECT_EQ(std::to_string(outcome.status), wantedStatus) << outcome.output;
    EXPECT_TRUE(said.empty() ? outcome.output.empty() : outcome.output.find(said) != std::string::npos)
        << outcome.output;
  }

  void tell(const std::string& what, const std::string& text) {
    if (text != "*") {
      EXPECT_EQ(now(what), text) << what;
    }
    untold.erase(what);
  }

  void settle() {
    while (!untold.empty()) tell(untold.begin()->first, std::string(untold.begin()->second));
  }

  std::string now(const std::string& what) {
    if (what == "status") return std::to_string(status);
    if (what == "asked for") return mirror.takeRequests();
    if (what == "bases") return stateOf(format, bases);
    if (what == "backup") return stateOf(format, backup);
    if (what == "temp") return stateOf(format, temp);
    return masked(masked(readFile(what == "lock" ? lockFile : logFile), "updatenow:", "PID"), " server ", "TIME");
  }

  const std::string format;
  const Paragraph paragraph;
  Words words;
  Mirror mirror;
  Tree onMirror;
  // For the next run alone: what stands before the program in its command.
  std::string before = "exec";
  int status = 0;
  Words untold;  // of the last run: what -> what it must be
};

struct Watcher {
  int cancelAt;
  std::string mirror;
  std::string events;
  int count;
};

int watch(int event, const char* text, std::int64_t total, std::int64_t done, void* user) {
  Watcher& watcher = *static_cast<Watcher*>(user);
  const std::string about = text != nullptr ? text : "";
  watcher.events += " " + std::to_string(event) + (about == watcher.mirror ? "M" : about);
  if (total != 0 || done != 0) watcher.events += ":" + std::to_string(done) + "/" + std::to_string(total);
  if (++watcher.count == -watcher.cancelAt) DownCancelled = true;
  return watcher.count == watcher.cancelAt ? ProgressCancel : 0;
}

const Function events("events", [](const Strings& cells) {
  const std::string& format = cells.at(0);
  install(format);
  Mirror mirror;
  mirror.serve(mirrorOf(format, "a:x,b:y", 2));
  configure("ServerList=127.0.0.1:" + mirror.port + ",127.0.0.1:" + mirror.port);
  Watcher watcher{std::stoi(cells.at(1)), "http://127.0.0.1:" + mirror.port, "", 0};
  QX_AVUpdate updater;
  getValues(updateConfig.c_str(), mainConfig.c_str(), &updater);
  updater.LockUpdate("me");
  DownCancelled = true;  // by an interrupt of before
  const int result = updater.UpdateNow(watch, &watcher);
  DownCancelled = false;
  return std::to_string(result) + watcher.events + " " + stateOf(format, bases);
});

}  // namespace

void registerUpdates(const Paragraph& paragraph, Words words) {
  Strings header = wordsOf(paragraph.header);
  if (header.size() == 2) header.emplace_back();
  for (const std::string& format : wordsOf(header[0] == "both" ? "kav bd" : header[0]))
    for (std::size_t i = 2; i < header.size(); ++i) {
      words["variant"] = header[i];
      const std::string name = header[1] + (header[i].empty() ? "" : "/" + header[i]);
      testing::RegisterTest(format == "bd" ? "Bd" : "Kav", name.c_str(), nullptr, nullptr, paragraph.path.c_str(),
          paragraph.rows.at(0).line, [=]() -> Installation* { return new Update(format, paragraph, words); });
    }
}
