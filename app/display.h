// The console's view of an update: messages and a bar that fills in place.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes of a bar buffer: 75 columns and the terminator.
constexpr std::size_t kBarBytes = 76;

// An UpdateProgressCallback that prints to the standard output. `user` is a bar buffer
// of kBarBytes bytes, zero-filled before the update and owned by the caller, or null
// for a display of dots instead of a bar. Returns ProgressCancel, and prints nothing,
// once TermExitScan is set; otherwise 0. Unknown events are ignored.
int DisplayUpdate(int event, const char* text, std::int64_t total, std::int64_t done, void* user);
