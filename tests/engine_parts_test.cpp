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
  for (const std::string value : {"plain/-_.,:=@%+1", "", "a b", "it's", "'", "$HOME `id` $(id)", "a;b&c|d>e<f", "\"\\",
           "~", "*?[a]", "#x", "line\nfeed", "\x80"}) {
    std::FILE* const pipe = popen(("printf %s " + shellWord(value)).c_str(), "r");
    char buffer[256] = "";
    buffer[fread(buffer, 1, sizeof buffer - 1, pipe)] = '\0';
    pclose(pipe);
    EXPECT_EQ(buffer, value);
  }
  EXPECT_EQ(shellWord("http://m:80/a_b,c%20@+=.-"), "http://m:80/a_b,c%20@+=.-");
}

TEST(IndexName, StaysBelowItsDirectory) {
  for (const char* name : {"a.avc", "Plugins/a", "..a", "a..", "a/..b", "...", ""})
    EXPECT_TRUE(isSafeName(name)) << name;
  for (const char* name : {"/etc/x", "..", "../x", "a/../x", "a/..", "a\nb", "a\tb", "\x7f"})
    EXPECT_FALSE(isSafeName(name)) << name;
}

TEST(BackupPlace, IsNotAboveWhatItProtects) {
  shell("rm -rf /tmp/place && mkdir -p /tmp/place/a/b && ln -s a /tmp/place/link");
  for (const char* place : {"/tmp/place/a", "/tmp/place/a/", "/tmp//place/x/../a", "/tmp/place/link", "/tmp", "/"}) {
    EXPECT_FALSE(isBackupPlace(place, "/tmp/place/a", "/t", nullptr)) << place;
    EXPECT_FALSE(isBackupPlace(place, "/b", "/tmp/place/a/new", nullptr)) << place;
  }
  for (const char* place : {"/tmp/place/ab", "/tmp/place/a/b", "/tmp/place/new", "a"})
    EXPECT_TRUE(isBackupPlace(place, "/tmp/place/a", "/t", nullptr)) << place;
  EXPECT_TRUE(isBackupPlace(nullptr, "/b", "/t", nullptr));
}

TEST(ServerList, NormalisesEntries) {
  const struct {
    const char* list;
    bool https;
    const char* servers;
  } cases[] = {
      {"mirror1", false, "http://mirror1 "},
      {"mirror1", true, "https://mirror1 "},
      {"http://m1,https://m2/b", true, "https://m1 https://m2/b "},
      {"http://m1,https://m2/b", false, "http://m1 http://m2/b "},
      {"ftp://m,m/http://x,http://a/https://b,ok", false, "http://ok "},
      {"http://a/http://b", false, "http://a/http://b "},
      {"a,,b,", false, "http://a http:// http://b http:// "},
      {" a", false, "http:// a "},
      {"ftp://m", false, ""},
      {"0,1,2,3,4,x://,5,6,7,8,9,10,11", false,
          "http://0 http://1 http://2 http://3 http://4 http://5 http://6 http://7 http://8 "
          "http://9 "},
  };
  for (const auto& c : cases) {
    OwnedString servers[kMaxServers];
    const int count = fillServers(servers, c.list, c.https, nullptr);
    std::string joined;
    for (int i = 0; i < count; ++i) joined += servers[i].get() + std::string(" ");
    EXPECT_EQ(joined, c.servers) << c.list;
  }
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
