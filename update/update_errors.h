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

  // Every code outside 1 to 9 becomes 0 with the message "none".
  explicit QX_AVUpdateExceptions(int code)
      : code_(code >= 1 && code <= ExceptionUpdateServer ? code : 0) {}

  int type() const { return code_; }

  // Returns the message without a line end. The text is a constant; nobody frees it.
  const char* detail() const {
    static constexpr const char* kMessages[] = {
        "none",
        "Unknow qxav installation",
        "Update operation already locked",
        "Can not lock update",
        "Update lock not acquired",
        "Invalid AV database path",
        "Invalid temp path",
        "Invalid proxy server settings",
        "Invalid proxy server authrasiation parameters",
        "Invalid update server",
    };
    return kMessages[code_];
  }

 private:
  std::int32_t code_;
};
