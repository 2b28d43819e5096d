#include "update/update_log.h"

constexpr std::size_t kTextLimit = 1023;  // bytes, with the terminator

int QX_AVUpdateLog::Start(const char* name) {
  if (isOpen()) return 0;
  if (name != nullptr) name_ = copyString(name);
  if (name_ == nullptr) throw "Invalid NULL file Name";
  stream_ = openFile(name_.get(), "a");
  return isOpen() ? 0 : -1;
}

int QX_AVUpdateLog::Log(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = LogList(format, arguments);
  va_end(arguments);
  return length;
}

int QX_AVUpdateLog::LogList(const char* format, std::va_list arguments) {
  if (!isOpen()) throw "Log not started";
  if (format == nullptr) throw "Invalid NULL log formate";
  char text[kTextLimit];
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  if (length <= 0) return 0;
  std::fputs(text, stream_.get());
  std::fflush(stream_.get());
  return length;
}

int writeLog(QX_AVUpdateLog* log, const char* format, ...) {
  if (log == nullptr || !log->isOpen()) return CoverLog();
  std::va_list arguments;
  va_start(arguments, format);
  const int length = log->LogList(format, arguments);
  va_end(arguments);
  return length;
}
