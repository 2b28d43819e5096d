// Runs external commands through the shell, one at a time.
//
// The environment of every command:
//   LC_ALL            C: failures are recognised by wget's English messages
//   POSIXLY_CORRECT   not set: with it wget ignores the options behind the address
//   GZIP              not set: gunzip would take options from it
#pragma once

#include <string>

// Runs a download command and waits for its end. Returns whether it could be started and
// ended with status 0. Its standard output is discarded. When DownCancelled is set, this
// function reads no more output, but it does not kill the command and still waits for its
// end. The caller looks at DownCancelled afterwards.
[[nodiscard]] bool runDownload(const std::string& command);

// Runs an installation command to its end. Returns what system() returns: a negative number
// when the command could not be run, 0 when it succeeded, otherwise its status. SIGINT,
// SIGTERM, SIGHUP and SIGQUIT do not reach the command, and reach this program only
// afterwards. So no signal leaves a half-written file.
[[nodiscard]] int runInstallation(const std::string& command);

// Appended to a command, discards everything that the command prints.
constexpr char kQuietly[] = " >/dev/null 2>&1";
