// The checks of updatenow-check, one function for each. They print what they find to the
// standard output and return a CheckStatus.
#pragma once

#include <string>

#include "engines/format.h"
#include "engines/session.h"

// The exit statuses of monitoring plugins.
enum CheckStatus { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

// Prints the age of the installed index and the outcome of the last run in one line, with
// performance data. Both limits are hours. Returns kCritical when there is no index, or when
// its age reaches `criticalAge`. When the last run did not succeed, returns kWarning, and
// kCritical when the last success is that old, too. Also returns kWarning when the age reaches
// `warningAge`, when the time of the index is in the future, or when the state file cannot be
// read. Otherwise returns kOk.
[[nodiscard]] int checkAge(const EngineFormat& format, const Places& places, double warningAge,
                           double criticalAge);

// Compares the files of a directory with the index in it. The directory is the database or
// a backup. Prints the files that are missing, different, foreign, or left over from an
// unfinished run. Returns kCritical when a file is missing or different or there is no
// index, kWarning when there are only other files, otherwise kOk.
[[nodiscard]] int checkFiles(const EngineFormat& format, const std::string& directory);

// Checks what is often wrong in a setup and prints what to do. Also fetches the index from
// every mirror. Returns kCritical when there is a problem, otherwise kOk.
[[nodiscard]] int checkSetup(const EngineSettings& settings);

// A text for the terminal: '?' stands for every byte that is not a printable ASCII character.
// A mirror chooses names and messages, and a terminal may take other bytes for commands.
std::string shown(std::string text);
