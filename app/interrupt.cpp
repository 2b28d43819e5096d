#include "app/interrupt.h"

std::atomic<bool> TermExitScan{false};
std::atomic<bool> DownCancelled{false};

void update_exit(int signal) {
  TermExitScan = true;
  signal_update_term(signal);
}

void signal_update_term(int /*signal*/) { DownCancelled = true; }
