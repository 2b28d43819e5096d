// The text log of update runs.
#pragma once

#include <cstdarg>

#include "system/files.h"
#include "system/owned_string.h"

// Appends texts to a file exactly as the caller formats them: no time stamp, no
// line end of its own. Every text is flushed at once, so the file is complete
// up to the last call even when the process is killed.
//
// Errors are raised as constant message texts (const char*).
class QX_AVUpdateLog {
 public:
  // Keeps a copy of the name, which may be null. Opens nothing yet.
  explicit QX_AVUpdateLog(const char* name);

  // Opens the file for appending: `name`, which is kept from then on, or the name kept
  // already when it is null. Does nothing when the log is open. Returns 0 when the log
  // is open afterwards, -1 when it could not be opened. Raises "Invalid NULL file
  // Name" when no name was ever given.
  int Start(const char* name);

  // Writes a text; what exceeds 1022 characters is cut. Returns the length of
  // the whole text, 0 when there was nothing to write. Raises "Log not started"
  // and "Invalid NULL log formate".
  int Log(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Log() with its arguments in a list.
  int LogList(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));

  // Closes the file if it is open.
  void Stop();

  bool isOpen() const { return stream_ != nullptr; }

 private:
  OwnedString name_;
  File stream_;
};

// Stands in for a log write where there is no log: does nothing, returns 0.
int CoverLog();

// Log() for a log that may be absent (null) or that could not be opened:
// CoverLog() takes its place then, since no update fails for want of a log.
int writeLog(QX_AVUpdateLog* log, const char* format, ...) __attribute__((format(printf, 2, 3)));
