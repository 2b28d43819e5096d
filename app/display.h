// The console's view of an update: messages and a bar that fills in place.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes of a bar buffer: 75 columns and the terminator.
constexpr std::size_t kBarBytes = 76;

// An UpdateProgressCallback that prints to the standard output. `user` is a bar
// buffer of kBarBytes bytes, zero-filled before the update and owned by the
// caller, or null for a display of dots instead of a bar. Returns
// ProgressCancel, and prints nothing, once TermExitScan is set; otherwise 0.
// Unknown events are ignored.
int DisplayUpdate(int event, const char* text, std::int64_t total, std::int64_t done, void* user);

// The percentage that the bar shows: 100 for a total of 0, when nothing is left
// to do; above 100 when more was done than expected.
std::int32_t percentDone(std::int64_t total, std::int64_t done);

// Lengthens the bar in the buffer to three quarters of `percent` columns, 75 at
// most; it never shrinks. Three quarters that are negative fill it; those of -1 are 0.
void lengthenBar(char* bar, std::int32_t percent);
