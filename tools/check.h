// The checks of updatenow-check, one function for each. They print what they find to the
// standard output and return a CheckStatus.
#pragma once

#include <string>

#include "engines/format.h"
#include "engines/session.h"

// The exit statuses of monitoring plugins.
enum CheckStatus { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

// Prints the age of the installed index and the outcome of the last run in one line, with
// performance data. Both limits are hours. Returns kCritical when there is no index, when
// its age reaches `criticalAge`, or when the last run did not succeed; kWarning when its age
// reaches `warningAge`; otherwise kOk.
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
