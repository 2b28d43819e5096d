// Whole updates: the real program, the real wget. The head of tests/cases/updates.txt
// says how they are written.

#include <ctime>
#include <filesystem>

#include "app/interrupt.h"
#include "app/progress.h"
#include "app/update_command.h"
#include "tests/mirror.h"
#include "update/coordinator.h"

namespace {

// With words for the process number and the time of now.
std::string masked(std::string text) {
  for (std::time_t time = std::time(nullptr), before = time - 60; time > before; --time)
    text = replaced(text, std::string(std::ctime(&time), 24), "TIME");
  return std::regex_replace(text, std::regex("updatenow:[0-9]+"), "updatenow:PID");
}

class Update : public OnMachine {
 public:
  Update(std::string basesFormat, const Paragraph& steps, const Words& texts)
      : format(std::move(basesFormat)), paragraph(steps), words(texts) {
    for (auto& [word, text] : words)
      if (const std::size_t bar = text.find(" | "); bar != std::string::npos)
        text = format == "bd" ? text.substr(bar + 3) : text.substr(0, bar);
    words["mirror"] = "127.0.0.1:" + mirror.port;
    words["port"] = mirror.port;
    words["silent"] = "127.0.0.1:" + std::to_string(silent.bind_to_any_port("127.0.0.1"));
    words["build"] = std::filesystem::path(UPDATENOW).parent_path();
  }

 private:
  void TestBody() override {
    installed("a:a,b:b,c:c");
    published("a:x,b:y,c:z", 2);
    eachRow(paragraph, words, [this](Strings cells) {
      cells.resize(4);
      step(cells[0], cells[1], cells[2], cells[3]);
    });
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

  void published(const std::string& files, int number) {
    mirror.serve(onMirror = mirrorOf(format, files, number));
  }

  void step(const std::string& name, const std::string& text, const std::string& rest,
            const std::string& last) {
    if (left.count(name) != 0) {
      if (!rest.empty()) tell("backup", rest);
      return tell(name, text);
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
    if (name == "command") return command(text, rest, last);
    if (name == "run") return run(text, rest, last);
    if (name == "killed") return run(text, rest, last), killed();
    if (name == "away") return away(text, rest);
    if (name == "updates") return updates(text, rest);
    FAIL() << "no such step";
  }

  // A command that ends with the status and says this, or nothing.
  static void command(const std::string& status, const std::string& text, const std::string& said) {
    Outcome outcome = outcomeOf(text);
    if (!said.empty() && outcome.output.find(said) != std::string::npos) outcome.output = said;
    EXPECT_EQ(std::to_string(outcome.status) + " " + outcome.output, status + " " + said);
  }

  void updates(const std::string& changed, const std::string& state) {
    const std::string files = changed.empty() ? "a,b,c" : changed;
    const std::string bars = "{bars" + std::to_string(wordsOf(files, ",").size()) + "}";
    run(expand("{start}" + bars + "{downloaded}{done}", words),
        expand("{begun}{got " + files + "}{saving}{put " + files + "}{ended}", words),
        changed.empty() ? "a:x,b:y,c:z,index:2" : state);
  }

  // A mirror that does not answer.
  void away(const std::string& log, const std::string& state) {
    configure("ServerList=127.0.0.1:1");
    run(expand("{away}", words), expand("{begun}" + log + "{toldaway}", words), state);
    left["temp"] = "*";
  }

  void killed() {
    left["status"] = "-9";
    left["temp"] = "*";
    left["lock"] = "updatenow:PID";
  }

  void answer(const std::string& file, const std::string& how) {
    const std::string name = file == "index"  ? indexName(format)
                             : format == "bd" ? "avx/" + file + ".gzip"
                                              : file;
    Tree answers = onMirror;
    std::string& body = answers[name];
    if (how == "half") body.resize(body.size() / 2);
    if (how == "other") body = mirrorOf(format, file + ":w", 0)[name];
    if (how != "half" && how != "other") body = how == "empty" ? "" : how;
    if (how == "missing") answers.erase(name);
    mirror.serve(answers);
  }

  // Runs an update that shows and logs this. What follows in the paragraph tells what it
  // has left; what is not told of must be as before, or as it always is.
  void run(const std::string& console, const std::string& log, const std::string& state) {
    left = {{"bases", state.empty() ? now("bases") : state},
            {"backup", now("backup")},
            {"temp", "nothing"},
            {"lock", ""},
            {"status", "0"},
            {"asked for", "*"}};
    const std::string old = now("bases");
    std::filesystem::remove(logFile);
    mirror.takeRequests();
    const Outcome outcome = outcomeOf(std::exchange(before, "exec") + " " + updatenow);
    status = outcome.status;
    // Newer versions of wget say that of a proxy without a scheme, wherever their messages go.
    const std::regex remark("Prepended http://.*\n");
    EXPECT_EQ(std::regex_replace(outcome.output, remark, ""), console);
    tell("log", log);
    if (now("log").find("av database at " + backup + "\n") != std::string::npos)
      left["backup"] = old;
  }

  void tell(const std::string& what, const std::string& text) {
    if (text != "*") {
      EXPECT_EQ(now(what), text) << what;
    }
    left.erase(what);
  }

  void settle() {
    while (!left.empty()) tell(left.begin()->first, std::string(left.begin()->second));
  }

  std::string now(const std::string& what) {
    if (what == "status") return std::to_string(status);
    if (what == "asked for") return mirror.takeRequests();
    if (what == "log" || what == "lock")
      return masked(readFile(what == "log" ? logFile : lockFile));
    return stateOf(format, what == "bases" ? bases : what == "temp" ? temp : backup);
  }

  const std::string format;
  const Paragraph paragraph;
  Words words;
  Mirror mirror;
  httplib::Server silent;  // takes connections and never answers
  Tree onMirror;
  // For the next run alone: what stands before the program in its command.
  std::string before = "exec";
  int status = 0;
  Words left;  // by the last run, and not yet told of: what -> what it must be
};

const Function events("events", [](const Strings& cells) {
  const std::string& format = cells.at(0);
  install(format);
  Mirror mirror;
  mirror.serve(mirrorOf(format, "a:x,b:y", 2));
  const std::string server = "127.0.0.1:" + mirror.port;
  configure("ServerList=" + server + "," + server);
  std::string told;
  int count = 0, at = std::stoi(cells.at(1));
  Watch watch = [&](int event, const std::string& text, std::int64_t total, std::int64_t done) {
    told += " " + std::to_string(event) + replaced(text, "http://" + server, "M");
    if (total != 0 || done != 0) told += ":" + std::to_string(done) + "/" + std::to_string(total);
    if (++count == -at) DownCancelled = true;
    return count == at ? ProgressCancel : 0;
  };
  QX_AVUpdate updater;
  getValues(updateConfig.c_str(), mainConfig.c_str(), &updater);
  updater.LockUpdate("me");
  DownCancelled = true;  // by an interrupt of before
  const int result = updater.UpdateNow(callWatch, &watch);
  DownCancelled = false;
  return std::to_string(result) + told + " " + stateOf(format, bases);
});

}  // namespace

void registerUpdates(const Paragraph& paragraph, const Words& words) {
  Strings header = wordsOf(paragraph.header);
  if (header.size() == 2) header.emplace_back();
  for (const std::string& format : wordsOf(header[0] == "both" ? "kav bd" : header[0]))
    for (std::size_t i = 2; i < header.size(); ++i) {
      Words all = words;
      all["variant"] = header[i];
      registerTest(format == "bd" ? "Bd" : "Kav",
                   header[1] + (header[i].empty() ? "" : "/" + header[i]),
                   [=] { return new Update(format, paragraph, all); });
    }
}
