// The flags through which an interrupt reaches the update.
#pragma once

#include <atomic>

// Set by the first SIGINT or SIGTERM, for good: the display then answers every
// event with ProgressCancel.
extern std::atomic<bool> TermExitScan;

// Set by SIGINT and SIGTERM, cleared when an update starts: the engines stop
// downloading at their next look at it.
extern std::atomic<bool> DownCancelled;

static_assert(std::atomic<bool>::is_always_lock_free && sizeof(std::atomic<bool>) == 1,
              "a signal handler may only touch lock-free flags");

// The handler of SIGTERM and SIGINT: sets both flags and nothing else.
void update_exit(int signal);

// Sets DownCancelled.
void signal_update_term(int signal);
