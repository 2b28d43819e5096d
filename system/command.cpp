#include "system/command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/interrupt.h"

namespace {

constexpr useconds_t kPollPauseUs = 250;
constexpr int kMaxReadFailures = 1000;  // in a row; then drain() gives up

// Sets the environment that the header describes.
void prepareEnvironment() {
  setenv("LC_ALL", "C", 1);
  unsetenv("POSIXLY_CORRECT");
  unsetenv("GZIP");
}

// Discards a command's output until the command closes it or DownCancelled is set. A failed
// read is repeated at once, up to the limit above.
void drain(int output) {
  fcntl(output, F_SETFL, O_NONBLOCK);
  char text[1024];
  int failures = 0;
  do {
    const ssize_t length = read(output, text, sizeof text - 1);
    if (length == 0) return;
    const bool failed = length < 0 && errno != EAGAIN;
    failures = failed ? failures + 1 : 0;
    if (length < 0 && !failed) usleep(kPollPauseUs);
  } while (!DownCancelled && failures < kMaxReadFailures);
}

// The signals by which a terminal or a service manager ends a program.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

}  // namespace

bool runDownload(const std::string& command) {
  prepareEnvironment();
  std::FILE* const pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) return false;
  drain(fileno(pipe));
  return pclose(pipe) == 0;
}

// Like system(), with two differences. The command ignores the ending signals. To
// block them would not be enough, since shells unblock signals for their children. And this
// program blocks SIGINT instead of ignoring it: an ignored SIGINT would be lost.
int runInstallation(const std::string& command) {
  prepareEnvironment();
  sigset_t ending;
  sigset_t before;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  sigprocmask(SIG_BLOCK, &ending, &before);
  const pid_t pid = fork();
  if (pid == 0) {
    for (const int signal : kEndingSignals) std::signal(signal, SIG_IGN);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  int status = -1;
  while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return status;
}
