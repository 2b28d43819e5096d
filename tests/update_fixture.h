// What the tests of whole updates share: the texts of a run, a mirror, and a
// database to update.
#pragma once

#include <fstream>
#include <string>

#include "tests/mirror.h"
#include "tests/sandbox.h"

const std::string kStart = "Update started\n";
const std::string kAttempt = "File(s) downloading started. Please wait...\n";
const std::string kInstalled = barLine(75, "\nFile download done....\n");
const std::string kNothingNew = "\nDatabase already updated\n";
const std::string kDone = "\nUpdate done\n";
const std::string kSuccess = "Virus Database updated successfully\n";
const std::string kFailure = "\n***Error updating virus\n";
const std::string kCancelledText = "\n***Update cancelled before finish\n";

class UpdateTest : public Installation {
 protected:
  explicit UpdateTest(const std::string& format) : format_(format) {
    writeFile("/opt/Quorvex/etc/qxav-ver", format == "bd" ? "3\n" : "2\n");
    configure("ServerList = " + mirror.address());
  }

  // Puts the bases on the mirror with their index; `published` is what is there.
  void publish(const Tree& sources) {
    writeTree("source", sources);
    shell(SOURCE_DIR "/scripts/publish-mirror " + format_ + " source mirror");
    published = readTree("mirror");
    mirror.serve(published);
  }

  // Runs an update and returns what the log has gained meanwhile, the process id
  // and the time as PID and TIME.
  std::string logOf(const Strings& words = {}) {
    std::ofstream(logFile, std::ios::trunc);
    outcome = runUpdatenow(words);
    return loggedNow();
  }

  std::string loggedNow() const {
    std::string text = readFile(logFile);
    const auto hide = [&text](const std::string& before, const std::string& with) {
      for (std::size_t at = 0; (at = text.find(before, at)) != std::string::npos; at += before.size())
        text.replace(at + before.size(), text.find('\n', at) - at - before.size(), with);
    };
    hide("updatenow:", "PID");
    hide("LOG: Update started from server ", "TIME");
    return text;
  }

  static std::string locked(const std::string& lines) {
    return "Update locked by updatenow:PID\n" + lines + "\nUnlocking update\n";
  }

  Mirror mirror;
  Tree published;
  Outcome outcome;  // of the last logOf()

 private:
  const std::string format_;
};
