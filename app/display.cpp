#include "app/display.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "app/interrupt.h"
#include "app/progress.h"

namespace {

constexpr std::uint32_t kBarColumns = kBarBytes - 1;

// Leaves '=' in every byte behind the terminator, so that moving the
// terminator is all it takes to lengthen the bar.
void emptyBar(char* bar) {
  std::memset(bar, '=', kBarBytes);
  bar[0] = '\0';
}

void printFullBar() {
  char full[kBarBytes];
  std::memset(full, '=', kBarColumns);
  full[kBarColumns] = '\0';
  std::printf("\r[%s]", full);
}

void printBar(const char* bar, std::int64_t total, std::int64_t done, std::int32_t percent) {
  std::printf("\r[%-75s](%dKB/%dKB) %d%%", bar, static_cast<int>(done / 1024),
              static_cast<int>(total / 1024), percent);
}

}  // namespace

std::int32_t percentDone(std::int64_t total, std::int64_t done) {
  return total == 0 ? 100 : static_cast<std::int32_t>(done * 100 / total);
}

void lengthenBar(char* bar, std::int32_t percent) {
  // The product may exceed 32 bits when a few bytes were expected and very
  // many came; it wraps.
  const auto tripled = static_cast<std::int32_t>(static_cast<std::uint32_t>(percent) * 3U);
  const auto wanted = static_cast<std::uint32_t>(tripled / 4);
  const std::size_t length = strnlen(bar, kBarColumns);
  if (length >= wanted) return;
  bar[length] = '=';
  bar[std::min(wanted, kBarColumns)] = '\0';
}

int DisplayUpdate(int event, const char* text, std::int64_t total, std::int64_t done, void* user) {
  if (TermExitScan) return ProgressCancel;
  char* const bar = static_cast<char*>(user);

  switch (event) {
    case ProgressUpdateStarted: std::puts("Update started"); break;
    case ProgressUpdateDone: std::puts("\nUpdate done"); break;
    case ProgressAlreadyUpdated: std::puts("\nDatabase already updated"); break;
    case ProgressDownloadStarted:
      if (bar != nullptr) emptyBar(bar);
      std::puts("File(s) downloading started. Please wait...");
      break;
    case ProgressDownloadDone:
      printFullBar();
      std::puts("\nFile download done....");
      break;
    case ProgressFileStarted:
      if (bar == nullptr) std::printf("\nDowloading %s.", text);
      break;
    case ProgressFileDone:
      if (bar == nullptr) std::puts(" done!");
      break;
    case ProgressFileBytes:
      if (bar == nullptr) {
        std::putchar('.');
      } else {
        const std::int32_t percent = percentDone(total, done);
        lengthenBar(bar, percent);
        printBar(bar, total, done, percent);
      }
      break;
    case ProgressError: std::printf("\n***Err: %s\n", text); break;
    default: return 0;
  }
  std::fflush(stdout);
  return 0;
}
