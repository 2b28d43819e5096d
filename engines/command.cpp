#include "engines/command.h"

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

// Once, before the first command.
void prepareEnvironment() {
  static const bool prepared =
      setenv("LC_ALL", "C", 1) == 0 && unsetenv("POSIXLY_CORRECT") == 0 && unsetenv("GZIP") == 0;
  (void)prepared;
}

// The output of a command; reaps the command at the latest when it goes.
class CommandPipe {
 public:
  explicit CommandPipe(const std::string& command) : pipe_(popen(command.c_str(), "re")) {
    if (pipe_ != nullptr) fcntl(fileno(pipe_), F_SETFL, O_NONBLOCK);
  }
  ~CommandPipe() { close(); }
  CommandPipe(const CommandPipe&) = delete;
  CommandPipe& operator=(const CommandPipe&) = delete;

  bool isOpen() const { return pipe_ != nullptr; }

  // Discards output until the command closes it or DownCancelled is set.
  void drain() {
    char output[1024];
    do {
      const ssize_t length = read(fileno(pipe_), output, sizeof output - 1);
      if (length == 0) return;
      if (length < 0 && errno == EAGAIN) usleep(kPollPauseUs);
    } while (!DownCancelled);
  }

  // Waits for the command's end and returns its status.
  int close() {
    if (pipe_ == nullptr) return -1;
    std::FILE* const pipe = pipe_;
    pipe_ = nullptr;
    return pclose(pipe);
  }

 private:
  std::FILE* pipe_;
};

// What a terminal or a service manager sends to end a program.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kEndingSignals) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

CommandEnd runDownload(const std::string& command) {
  prepareEnvironment();
  CommandPipe pipe(command);
  if (!pipe.isOpen()) return {false, -1};
  pipe.drain();
  return {true, pipe.close()};
}

// system(), with two differences. The command ignores the ending signals: a
// block alone would not reach it, since shells clear it for their children. And
// SIGINT is not ignored here meanwhile: one that is pending would be lost.
int runInstallation(const std::string& command) {
  prepareEnvironment();
  const SignalsHeld held;
  const pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    for (const int signal : kEndingSignals) std::signal(signal, SIG_IGN);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return -1;
  return status;
}
