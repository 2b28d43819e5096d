// What updatenow-check asks, a function for each of its ways to be called.
#pragma once

#include <string>

#include "engines/format.h"
#include "engines/session.h"

// The exit statuses of monitoring plugins.
enum CheckStatus { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

// Prints the age of the installed index and the outcome of the last run in one line, with
// performance data. Ages in hours.
[[nodiscard]] int checkAge(const EngineFormat& format, const Places& places, double warningAge,
                           double criticalAge);

// Compares the files of a directory, the database or a backup, with the index there and
// names those that are missing, different, foreign or left over.
[[nodiscard]] int checkFiles(const EngineFormat& format, const std::string& directory);

// Asks what usually is wrong and says what to do.
[[nodiscard]] int checkSetup(const EngineSettings& settings);
