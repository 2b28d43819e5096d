#include <csignal>

#include "app/interrupt.h"
#include "engines/backup_place.h"
#include "engines/command.h"
#include "engines/index_name.h"
#include "engines/server_list.h"
#include "engines/shell_word.h"
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
  eachCase("index-names", [](const Case& c) { EXPECT_EQ(isSafeName(c.at("name")), c.at("safe") == "yes"); });
}

TEST(BackupPlace, IsNotAboveWhatItProtects) {
  shell("rm -rf /tmp/place && mkdir -p /tmp/place/a/b && ln -s a /tmp/place/link");
  eachCase("backup-places", [](const Case& c) {
    const char* const place = c.at("backup").c_str();
    EXPECT_EQ(isBackupPlace(place, "/tmp/place/a", "/t", nullptr), c.at("allowed") == "yes");
    EXPECT_EQ(isBackupPlace(place, "/b", "/tmp/place/a/new", nullptr), c.at("allowed") == "yes");
  });
  EXPECT_TRUE(isBackupPlace(nullptr, "/b", "/t", nullptr));
  shell("rm -r /tmp/place");
}

TEST(ServerList, NormalisesEntries) {
  eachCase("server-lists", [](const Case& c) {
    OwnedString servers[kMaxServers];
    const int count = fillServers(servers, c.at("list"), c.at("https") == "yes", nullptr);
    std::string joined;
    for (int i = 0; i < count; ++i) joined += (i == 0 ? "" : " ") + std::string(servers[i].get());
    EXPECT_EQ(joined, c.at("servers"));
  });
}

TEST(Command, TellsHowItEnded) {
  EXPECT_TRUE(runDownload("printf '%100000s' x; test \"$LC_ALL\" = C").succeeded());
  EXPECT_FALSE(runDownload("exit 3").succeeded());
  EXPECT_FALSE(runDownload("kill -9 $$").succeeded());
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
