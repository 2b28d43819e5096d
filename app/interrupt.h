// The flags by which a signal stops the update.
#pragma once

#include <atomic>

// SIGINT and SIGTERM set this flag, and nothing clears it. The display then answers every
// event with ProgressCancel.
extern std::atomic<bool> TermExitScan;

// SIGINT and SIGTERM set this flag. The start of an update clears it. The engines test it
// between their steps and stop downloading.
extern std::atomic<bool> DownCancelled;

static_assert(std::atomic<bool>::is_always_lock_free && sizeof(std::atomic<bool>) == 1,
              "a signal handler may only touch lock-free flags");

// The handler of SIGTERM and SIGINT. Sets both flags and does nothing else.
void update_exit(int signal);

// Sets DownCancelled.
void signal_update_term(int signal);
