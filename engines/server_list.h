// The list of update servers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "update/update_log.h"

constexpr std::size_t kMaxServers = 10;

// The URL of an entry of the server list. It begins with "https://" when useHttps is set,
// otherwise with "http://", also when the entry names the other one of these. Empty when
// the entry has another scheme, or a scheme that is not at its start. Blanks stay. An empty
// entry gives the scheme alone.
[[nodiscard]] std::string serverUrl(std::string_view entry, bool useHttps);

// The URLs of a comma-separated list, at most kMaxServers. An invalid entry is left out,
// after a line in the log (may be null).
[[nodiscard]] std::vector<std::string> usableServers(std::string_view list, bool useHttps,
                                                     QX_AVUpdateLog* log);
