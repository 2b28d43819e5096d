// The events that an update reports to its watcher, and the watcher's answers.
#pragma once

#include <cstdint>

// The events of an update. The text that comes with an event is
//   null          for ProgressUpdateStarted and ProgressUpdateDone,
//   a file name   for ProgressFileStarted, ProgressFileDone and ProgressFileBytes,
//   the message   for ProgressError; the Kaspersky-format engine sends the server instead,
//   the server    for all others.
enum ProgressEvent : int {
  ProgressUpdateStarted = 1,    // once, at the start of a run
  ProgressUpdateDone = 2,       // once, at the end of a run
  ProgressAlreadyUpdated = 3,   // a server has nothing new
  ProgressDownloadStarted = 4,  // an attempt at a server begins
  ProgressDownloadDone = 5,     // an attempt has ended and installed its files
  ProgressFileStarted = 6,      // before each file
  ProgressFileDone = 7,         // after each fetched file and ProgressFileBytes
  ProgressFileBytes = 8,        // after each fetched file: `done` includes it now
  ProgressInstallStarted = 9,   // the downloads are over, installation is next
  ProgressInstallDone = 10,     // installation is done
  ProgressError = 11,           // a failure
};

// The callback's answer that asks the engine to stop. Every other answer means: go on.
constexpr int ProgressCancel = 2;

// Called on the main thread for every event. For the three file events, `total` is the size
// of all files to be fetched and `done` the size of those already fetched, in bytes. For
// other events both are 0. `user` is the pointer that was installed with the callback.
using UpdateProgressCallback = int (*)(int event, const char* text, std::int64_t total,
                                       std::int64_t done, void* user);
