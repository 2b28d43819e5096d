// The text log of update runs.
#pragma once

#include <cstdarg>

#include "system/files.h"
#include "system/owned_string.h"

// Appends texts to a file exactly as the caller formats them. It adds no time stamp and no
// line end. Every text is flushed at once, so the file is complete up to the last call even
// when the process is killed.
//
// Errors are raised as constant messages (const char*).
class QX_AVUpdateLog {
 public:
  // Keeps a copy of the file name, which may be null. Opens nothing yet.
  explicit QX_AVUpdateLog(const char* name) : name_(copyString(name)) {}

  // Opens the file `name` for appending and keeps a copy of the name. For a null name, opens
  // the file whose name is kept already. Does nothing when the log is open. Returns 0 when
  // the log is open afterwards, and -1 when it could not be opened. Raises "Invalid NULL file
  // Name" when no name was ever given.
  int Start(const char* name);

  // Writes the formatted text, cut to 1022 characters. Returns the length of the text before
  // the cut, or 0 when there was nothing to write. Raises "Log not started" when the log is
  // not open, and "Invalid NULL log formate" for a null format.
  int Log(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Like Log(), with the arguments in a list.
  int LogList(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));

  // Closes the file if it is open.
  void Stop() { stream_.reset(); }

  bool isOpen() const { return stream_ != nullptr; }

 private:
  OwnedString name_;
  File stream_;
};

// Takes the place of a log write when there is no log. Does nothing and returns 0.
inline int CoverLog() { return 0; }

// Like Log(), for a log that may be null or not open. It calls CoverLog() then: the engines
// work without a log, too.
int writeLog(QX_AVUpdateLog* log, const char* format, ...) __attribute__((format(printf, 2, 3)));
