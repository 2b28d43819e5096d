// The two steps of the command: reading the configuration, running the update.
#pragma once

#include <functional>

#include "engines/session.h"

class QX_AVUpdate;

// Reads both configuration files and hands their values over as views that live as long
// as the call; a log is not among them. Returns 0, or -1 when a name is null or a file
// cannot be read.
[[nodiscard]] int withConfiguration(const char* updateConfig, const char* mainConfig,
                                    const std::function<void(const EngineSettings&)>& use);

// Hands the values of both configuration files to the updater. Values that it
// rejects are named on the console; the update will then say what it lacks. Returns
// 0, or -1 when an argument is null or a file cannot be read.
int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater);

// Runs one update under the lock and prints its outcome. Returns 0, also for a
// cancelled one, or -1, also for a null updater. After an error the lock may still be
// held: the updater releases it when it goes.
int UpdateVirus(QX_AVUpdate* updater);
