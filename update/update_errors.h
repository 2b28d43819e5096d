// The error that the coordinator and its lock raise.
#pragma once

#include <cstdint>

// One error code with a fixed message. Thrown by value, caught by reference.
class QX_AVUpdateExceptions {
 public:
  static constexpr int ExceptionUnknownSystem = 1;
  static constexpr int ExceptionAlreadyLocked = 2;
  static constexpr int ExceptionLockError = 3;
  static constexpr int ExceptionNotLocked = 4;
  static constexpr int ExceptionBasePath = 5;
  static constexpr int ExceptionTempPath = 6;
  static constexpr int ExceptionProxyServer = 7;
  static constexpr int ExceptionProxyAuth = 8;
  static constexpr int ExceptionUpdateServer = 9;

  // A code outside 1 to 9 becomes 0, "none".
  explicit QX_AVUpdateExceptions(int code);

  int type() const { return code_; }

  // The message, without a line end; a constant text of static lifetime.
  const char* detail() const;

 private:
  std::int32_t code_;
};
