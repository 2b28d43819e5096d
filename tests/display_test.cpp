#include "app/display.h"

#include "app/interrupt.h"
#include "app/progress.h"
#include "tests/sandbox.h"

namespace {

std::string show(int event, const char* text, std::int64_t total, std::int64_t done, char* bar) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(DisplayUpdate(event, text, total, done, bar), 0);
  return testing::internal::GetCapturedStdout();
}

TEST(Display, ShowsDotsWithoutABar) {
  std::string shown;
  for (const int event : {6, 8, 7, 0, 12}) shown += show(event, "a.avc", 2, 1, nullptr);
  EXPECT_EQ(shown, "\nDowloading a.avc.. done!\n");
}

TEST(Display, MovesTheBar) {
  char bar[kBarBytes] = {};
  eachCase("bar-steps", [&bar](const Case& c) {
    if (c.at("bar") == "new") show(4, "m", 0, 0, bar);
    EXPECT_EQ(show(8, "f", std::stol(c.at("total")), std::stol(c.at("done")), bar), c.at("line"));
  });
}

TEST(Display, AnswersCancelAfterAnInterrupt) {
  char bar[kBarBytes] = {};
  update_exit(15);
  EXPECT_TRUE(DownCancelled);
  testing::internal::CaptureStdout();
  for (int event = -1; event <= 12; ++event) EXPECT_EQ(DisplayUpdate(event, "x", 1, 1, bar), ProgressCancel);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  TermExitScan = false;
  DownCancelled = false;
}

}  // namespace
