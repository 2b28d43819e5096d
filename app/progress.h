// What an update tells its watcher, and what the watcher may answer.
#pragma once

#include <cstdint>

// The events of an update. The text is null for the two events of the whole run, the
// file name for the three file events, the message for an error (the Kaspersky-format
// engine sends the server instead) and the server otherwise.
enum ProgressEvent : int {
  ProgressUpdateStarted = 1,    // once, at the start of a run
  ProgressUpdateDone = 2,       // once, at the end of a run
  ProgressAlreadyUpdated = 3,   // a server has nothing new
  ProgressDownloadStarted = 4,  // an attempt at a server begins
  ProgressDownloadDone = 5,     // an attempt has ended and installed its files
  ProgressFileStarted = 6,      // before each file
  ProgressFileDone = 7,         // after each file, following ProgressFileBytes
  ProgressFileBytes = 8,        // `done` now includes the file just fetched
  ProgressInstallStarted = 9,   // the downloads are over, installation is next
  ProgressInstallDone = 10,     // installation is done
  ProgressError = 11,           // a failure
};

// The callback's answer that asks the sender to stop; any other means go on.
constexpr int ProgressCancel = 2;

// Called on the main thread for every event. `total` and `done` are the bytes
// of the whole change set and those fetched so far, for the three file events;
// 0 otherwise. `user` is handed through from whoever installed the callback.
using UpdateProgressCallback = int (*)(int event, const char* text, std::int64_t total,
                                       std::int64_t done, void* user);
