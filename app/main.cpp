// updatenow: brings the virus-signature database of this machine up to date.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/interrupt.h"
#include "app/update_command.h"
#include "update/coordinator.h"
#include "update/paths.h"

namespace {

constexpr int kRootGroup = 0;
constexpr char kDefaultPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

// Repairs descriptors, mask, signals and environment that the caller left in an unusual
// state.
void prepareProcess() {
  // A standard descriptor that is closed would be the number of our next file,
  // and the display would write into it.
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDWR);
  if (descriptor >= 0) close(descriptor);
  // Commands and configuration files are looked up there.
  setenv("PATH", kDefaultPath, 0);
  // Scanners that are not root read the bases; nobody else writes them or the lock.
  umask(022);
  // Ignored, it would take the commands' exit statuses away.
  std::signal(SIGCHLD, SIG_DFL);
  // A terminal that is closed must not end an update half-way.
  std::signal(SIGHUP, SIG_IGN);
  // A reader of our output that goes away must not end an installation.
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace

int main() {
  if (getgid() != kRootGroup) {
    std::puts("Needs root Privilages to update virus Database. Exit...");
    return 0;
  }
  prepareProcess();
  std::signal(SIGTERM, update_exit);
  std::signal(SIGINT, update_exit);

  QX_AVUpdate updater;
  if (getValues(kUpdateConfig, kMainConfig, &updater) < 0) {
    std::puts("Error reading configuration. Try again.");
    return 1;
  }
  UpdateVirus(&updater);
  return 0;
}
