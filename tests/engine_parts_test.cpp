#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "app/interrupt.h"
#include "engines/backup_place.h"
#include "engines/command.h"
#include "engines/index_name.h"
#include "engines/server_list.h"
#include "engines/shell_word.h"
#include "tests/sandbox.h"

namespace {

TEST(ShellWord, ReachesACommandUnchanged) {
  eachCase("shell-words", [](const Case& c) {
    const std::string& value = c["value"];
    std::FILE* const pipe = popen(("printf %s " + shellWord(value)).c_str(), "r");
    char buffer[256] = "";
    buffer[fread(buffer, 1, sizeof buffer - 1, pipe)] = '\0';
    pclose(pipe);
    EXPECT_EQ(buffer, value);
    EXPECT_EQ(shellWord(value) == value, c["bare"] == "yes");
  });
}

TEST(IndexName, StaysBelowItsDirectory) {
  eachCase("index-names", [](const Case& c) { EXPECT_EQ(isSafeName(c["name"]), c["safe"] == "yes"); });
}

TEST(BackupPlace, IsNotAboveWhatItProtects) {
  shell("rm -rf /tmp/place && mkdir -p /tmp/place/a/b && ln -s a /tmp/place/link");
  eachCase("backup-places", [](const Case& c) {
    const char* const place = c["backup"].c_str();
    EXPECT_EQ(isBackupPlace(place, "/tmp/place/a", "/t", nullptr), c["allowed"] == "yes");
    EXPECT_EQ(isBackupPlace(place, "/b", "/tmp/place/a/new", nullptr), c["allowed"] == "yes");
  });
  EXPECT_TRUE(isBackupPlace(nullptr, "/b", "/t", nullptr));
}

TEST(ServerList, NormalisesEntries) {
  eachCase("server-lists", [](const Case& c) {
    OwnedString servers[kMaxServers];
    const int count = fillServers(servers, c["list"], c["https"] == "yes", nullptr);
    std::string joined;
    for (int i = 0; i < count; ++i) joined += (i == 0 ? "" : " ") + std::string(servers[i].get());
    EXPECT_EQ(joined, c["servers"]);
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
