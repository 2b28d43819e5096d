#include "app/display.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "app/interrupt.h"
#include "app/progress.h"

namespace {

constexpr std::uint32_t kBarColumns = kBarBytes - 1;

// Lengthens the bar in the buffer to `percent` * 3 / 4 columns, 75 at most. The bar never
// shrinks. A negative number of columns fills the bar (-3 / 4 is 0, not negative).
void lengthenBar(char* bar, std::int32_t percent) {
  // Very many bytes may come where few were expected. The product then exceeds 32 bits
  // and wraps.
  const auto tripled = static_cast<std::int32_t>(static_cast<std::uint32_t>(percent) * 3U);
  const auto wanted = static_cast<std::uint32_t>(tripled / 4);
  const std::size_t length = strnlen(bar, kBarColumns);
  if (length >= wanted) return;
  bar[length] = '=';
  bar[std::min(wanted, kBarColumns)] = '\0';
}

}  // namespace

int DisplayUpdate(int event, const char* text, std::int64_t total, std::int64_t done, void* user) {
  if (TermExitScan) return ProgressCancel;
  char* const bar = static_cast<char*>(user);

  switch (event) {
    case ProgressUpdateStarted: std::puts("Update started"); break;
    case ProgressUpdateDone: std::puts("\nUpdate done"); break;
    case ProgressAlreadyUpdated: std::puts("\nDatabase already updated"); break;
    case ProgressDownloadStarted:
      if (bar != nullptr) {
        // Every byte behind the terminator is '='. lengthenBar() then only moves the
        // terminator.
        std::memset(bar, '=', kBarBytes);
        bar[0] = '\0';
      }
      std::puts("File(s) downloading started. Please wait...");
      break;
    case ProgressDownloadDone:
      std::printf("\r[%s]\nFile download done....\n", std::string(kBarColumns, '=').c_str());
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
        // A total of 0 means that nothing had to be done. The percentage is above 100 when
        // more bytes came than the index lists.
        const auto percent = static_cast<std::int32_t>(total == 0 ? 100 : done * 100 / total);
        lengthenBar(bar, percent);
        std::printf("\r[%-75s](%dKB/%dKB) %d%%", bar, static_cast<int>(done / 1024),
                    static_cast<int>(total / 1024), percent);
      }
      break;
    case ProgressError: std::printf("\n***Err: %s\n", text); break;
    default: return 0;
  }
  std::fflush(stdout);
  return 0;
}
