#include "update/update_errors.h"

#include <iterator>

namespace {

constexpr const char* kMessages[] = {
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

}  // namespace

QX_AVUpdateExceptions::QX_AVUpdateExceptions(int code)
    : code_(code >= 0 && code < static_cast<int>(std::size(kMessages)) ? code : 0) {}

const char* QX_AVUpdateExceptions::detail() const { return kMessages[code_]; }
