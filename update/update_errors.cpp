#include "update/update_errors.h"

const char* QX_AVUpdateExceptions::detail() const {
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
