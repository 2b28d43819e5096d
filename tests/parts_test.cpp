// The parts behind the published classes.

#include <csignal>

#include "app/interrupt.h"
#include "engines/command.h"
#include "engines/index_name.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "tests/machine.h"

namespace {

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
    EXPECT_EQ(arePlacesApart(c.at("base"), c.at("temp"), c.at("backup"), "LOG: ", &log), refused.empty());
    EXPECT_EQ(readFile("log"), refused.empty() ? "" : "LOG: " + refused + "\n");
  });
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
  const int open = openFiles();
  EXPECT_TRUE(runDownload("printf '%100000s' x; test \"$LC_ALL\" = C").succeeded());
  EXPECT_FALSE(runDownload("exit 3").succeeded());
  EXPECT_FALSE(runDownload("kill -9 $$").succeeded());
  EXPECT_EQ(runInstallation("exit 2") >> 8, 2);
  EXPECT_EQ(openFiles(), open);
}

// A Ctrl-C reaches the whole terminal group: the command must end its work, and the
// program must still learn of it.
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
