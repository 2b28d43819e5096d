// The list of update servers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "update/update_log.h"

constexpr std::size_t kMaxServers = 10;

// An entry of the server list as a URL that begins with "http://" or, with useHttps,
// "https://", whatever scheme it was given with. Empty when the entry has another
// scheme or one that does not stand at its start. The entry is taken as it is, blanks
// included; an empty one gives the bare scheme.
[[nodiscard]] std::string serverUrl(std::string_view entry, bool useHttps);

// The URLs of a comma-separated list, at most kMaxServers. Invalid entries are named in
// the log (may be null) and left out.
[[nodiscard]] std::vector<std::string> usableServers(std::string_view list, bool useHttps,
                                                     QX_AVUpdateLog* log);
