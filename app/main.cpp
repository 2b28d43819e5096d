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

// Repairs descriptors, environment, umask and signals that the caller left in an unusual
// state.
void prepareProcess() {
  // If a standard descriptor is closed, the next file that we open gets its number. The
  // display would then write into that file.
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDWR);
  if (descriptor >= 0) close(descriptor);
  // Commands and configuration files are searched for in PATH. A PATH that is set stays.
  setenv("PATH", kDefaultPath, 0);
  // Scanners that do not run as root read the bases. Only root may write the bases and the
  // lock.
  umask(022);
  // While SIGCHLD is ignored, the exit statuses of commands are lost.
  std::signal(SIGCHLD, SIG_DFL);
  // Closing the terminal must not end an update half-way.
  std::signal(SIGHUP, SIG_IGN);
  // If the reader of our output ends, the installation must still run to its end.
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
