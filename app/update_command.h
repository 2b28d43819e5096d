// The two steps of the command: it reads the configuration, and it runs the update.
#pragma once

#include <functional>

#include "engines/session.h"

class QX_AVUpdate;

// Reads both configuration files and calls `use` with their values. The texts in the
// settings live until `use` returns. The log in the settings is null. Returns 0. When a name
// is null or a file does not exist, returns -1 and does not call `use`.
[[nodiscard]] int withConfiguration(const char* updateConfig, const char* mainConfig,
                                    const std::function<void(const EngineSettings&)>& use);

// Gives the values of both configuration files to the updater. When the updater rejects
// them, prints the reason and still returns 0: the updater keeps its earlier settings, and
// the update reports what is missing. Returns -1 when an argument is null or a file does not
// exist.
int getValues(const char* updateConfig, const char* mainConfig, QX_AVUpdate* updater);

// Runs one update under the lock and prints its outcome. Returns 0 when the update
// succeeded or was cancelled, and -1 when it failed or the updater is null. After a failure
// the lock may still be held. The updater's destructor releases it.
int UpdateVirus(QX_AVUpdate* updater);
