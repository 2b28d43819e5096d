// The list of update servers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engines/owned_string.h"
#include "update/update_log.h"

constexpr std::int32_t kMaxServers = 10;

// An entry of the server list as a URL that begins with "http://" or, with
// useHttps, "https://", whatever scheme it was given with. Empty when the entry
// has another scheme or one that does not stand at its start. The entry is taken
// as it is, blanks included; an empty one gives the bare scheme.
std::string serverUrl(std::string_view entry, bool useHttps);

// Fills `servers` from a comma-separated list, up to kMaxServers entries, and
// returns how many there are. Invalid entries are named in the log (may be null)
// and left out. Throws std::bad_alloc.
std::int32_t fillServers(OwnedString (&servers)[kMaxServers], std::string_view list, bool useHttps,
                         QX_AVUpdateLog* log);
