// Shows an update on the console: messages, and a bar that fills in its line.
#pragma once

#include <cstddef>
#include <cstdint>

// The size of a bar buffer in bytes: 75 columns and the terminator.
constexpr std::size_t kBarBytes = 76;

// An UpdateProgressCallback that prints to the standard output.
//
// `user` is a bar buffer of kBarBytes bytes. The caller owns it and fills it with zeros
// before the update. With a null `user` the display shows dots instead of a bar.
//
// Returns 0. When TermExitScan is set, prints nothing and returns ProgressCancel. Ignores
// unknown events.
int DisplayUpdate(int event, const char* text, std::int64_t total, std::int64_t done, void* user);
