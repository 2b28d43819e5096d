// External commands, run through the shell one at a time.
//
// Every command finds LC_ALL=C in its environment, since failures are told from
// wget's English messages, and neither POSIXLY_CORRECT, for which wget would ignore
// options behind the address, nor GZIP, whose options gunzip would obey.
#pragma once

#include <string>

// Runs a download command, waits for its end, and tells whether it could be started
// and ended with status 0. What it prints to its standard output is discarded. When
// DownCancelled is set the wait for its output ends, and the command is left to end by
// itself, which is always waited for; the caller looks at DownCancelled afterwards.
[[nodiscard]] bool runDownload(const std::string& command);

// Runs an installation command to its end and returns what system() does: negative
// when it could not be run, 0 when it succeeded, else its status. Signals that a
// terminal or a service manager sends are held back meanwhile, from the command as
// well, and reach the program afterwards: no file is torn off half-way.
[[nodiscard]] int runInstallation(const std::string& command);

// Ends a command that shall print nothing.
constexpr char kQuietly[] = " >/dev/null 2>&1";
