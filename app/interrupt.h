// The flags by which a signal stops the update.
#pragma once

#include <atomic>

// SIGINT and SIGTERM set this flag, and nothing clears it. The display then answers every
// event with ProgressCancel.
inline std::atomic<bool> TermExitScan{false};

// SIGINT and SIGTERM set this flag. The start of an update clears it. The engines test it
// between their steps and stop downloading.
inline std::atomic<bool> DownCancelled{false};

static_assert(std::atomic<bool>::is_always_lock_free && sizeof(std::atomic<bool>) == 1,
              "a signal handler may only touch lock-free flags");

// Sets DownCancelled.
inline void signal_update_term(int /*signal*/) { DownCancelled = true; }

// The handler of SIGTERM and SIGINT. Sets both flags and does nothing else.
inline void update_exit(int signal) {
  TermExitScan = true;
  signal_update_term(signal);
}
