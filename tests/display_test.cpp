#include "app/display.h"

#include <gtest/gtest.h>

#include <cstring>

#include "app/interrupt.h"
#include "app/progress.h"
#include "tests/sandbox.h"

namespace {

struct Step {
  int event;
  const char* text;
  std::int64_t total;
  std::int64_t done;
};

std::string show(const std::vector<Step>& steps, char* bar) {
  testing::internal::CaptureStdout();
  for (const Step& s : steps) EXPECT_EQ(DisplayUpdate(s.event, s.text, s.total, s.done, bar), 0);
  return testing::internal::GetCapturedStdout();
}

TEST(Display, ShowsDotsWithoutABar) {
  EXPECT_EQ(
      show({{6, "a.avc", 2, 0}, {8, "a.avc", 2, 1}, {7, "a.avc", 2, 1}, {0, "x", 0, 0}, {12, "x", 0, 0}}, nullptr),
      "\nDowloading a.avc.. done!\n");
}

TEST(Display, MovesTheBar) {
  const struct {
    std::int64_t total, done;
    std::size_t columns;
    const char* rest;
  } steps[] = {
      // One after the other: the bar never shrinks.
      {1000, 500, 37, "(0KB/0KB) 50%"},
      {1000, 100, 37, "(0KB/0KB) 10%"},
      {1000, 500, 37, "(0KB/0KB) 50%"},
      {2048, 2048, 75, "(2KB/2KB) 100%"},
      {1024, 4096, 75, "(4KB/1KB) 400%"},
      {0, 0, 75, "(0KB/0KB) 100%"},
      {0, 5000, 75, "(4KB/0KB) 100%"},
      {-2048, 1024, 75, "(1KB/-2KB) -50%"},
      {1, 2147483647, 75, "(2097151KB/0KB) -100%"},
  };
  char bar[kBarBytes] = {};
  show({{4, "m", 0, 0}}, bar);
  for (const auto& s : steps) EXPECT_EQ(show({{8, "f", s.total, s.done}}, bar), barLine(s.columns, s.rest));

  show({{4, "m", 0, 0}}, bar);
  EXPECT_EQ(show({{8, "f", -2, 1}}, bar), barLine(75, "(0KB/0KB) -50%")) << "negative fills it";
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
