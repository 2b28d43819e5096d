#include <csignal>

#include "app/interrupt.h"
#include "engines/index_name.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "system/command.h"
#include "system/shell_word.h"
#include "tests/sandbox.h"

namespace {

class ShellWord : public Installation {};

TEST_F(ShellWord, ReachesACommandUnchanged) {
  eachCase("shell-words", [](const Case& c) {
    const std::string& value = c.at("value");
    shell("printf %s " + shellWord(value) + " >word");
    EXPECT_EQ(readFile("word"), value);
    EXPECT_EQ(shellWord(value) == value, c.at("bare") == "yes");
  });
}

TEST(IndexName, StaysBelowItsDirectory) {
  eachCase("index-names", [](const Case& c) { EXPECT_EQ(isSafeName(c.at("name"), "avp.klb"), c.at("safe") == "yes"); });
}

class Places : public Installation {};

TEST_F(Places, DoNotLieInEachOther) {
  shell("mkdir -p base/sub temp && ln -s base link");
  QX_AVUpdateLog log("log");
  log.Start(nullptr);
  eachCase("places", [&](const Case& c) {
    writeFile("log", "");
    const std::string& refused = c.at("refused");
    const EngineFormat format{"LOG: ", "i", false};
    Session session(format);
    session.log = &log;
    session.basePath = c.at("base");
    session.tempPath = c.at("temp");
    session.backupPath = c.at("backup");
    EXPECT_EQ(arePlacesApart(session), refused.empty());
    EXPECT_EQ(readFile("log"), refused.empty() ? "" : "LOG: " + refused + "\n");
  });
}

TEST(ServerList, NormalisesEntries) {
  eachCase("server-lists", [](const Case& c) {
    std::string joined;
    for (const std::string& server : usableServers(c.at("list"), c.at("https") == "yes", nullptr))
      joined += (joined.empty() ? "" : " ") + server;
    EXPECT_EQ(joined, c.at("servers"));
  });
}

TEST(Command, TellsHowItEnded) {
  EXPECT_TRUE(runDownload("printf '%100000s' x; test \"$LC_ALL\" = C"));
  EXPECT_FALSE(runDownload("exit 3"));
  EXPECT_FALSE(runDownload("kill -9 $$"));
  EXPECT_EQ(runInstallation("exit 2") >> 8, 2);
}

// A Ctrl-C reaches the whole terminal group: the command must end its work, and
// the program must still learn of it.
TEST(Command, InstallationOutlivesAnInterrupt) {
  const auto before = std::signal(SIGINT, update_exit);
  EXPECT_EQ(
      runInstallation("kill -INT $PPID; for s in INT TERM HUP QUIT; do sh -c \"kill -$s \\$\\$\" || exit 1; done"), 0);
  EXPECT_TRUE(DownCancelled);
  std::signal(SIGINT, before);
  TermExitScan = false;
  DownCancelled = false;
}

}  // namespace
