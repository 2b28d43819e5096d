#include "engines/server_list.h"

constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";

std::string serverUrl(std::string_view entry, bool useHttps) {
  const std::string scheme(useHttps ? kHttps : kHttp);
  for (const std::string_view given : {kHttp, kHttps}) {
    if (entry.substr(0, given.size()) != given) continue;
    if (entry.find(given == kHttp ? kHttps : kHttp) != std::string_view::npos) return "";
    return scheme + std::string(entry.substr(given.size()));
  }
  return entry.find("://") == std::string_view::npos ? scheme + std::string(entry) : "";
}

std::vector<std::string> usableServers(std::string_view list, bool useHttps, QX_AVUpdateLog* log) {
  std::vector<std::string> servers;
  for (std::size_t start = 0; start <= list.size() && servers.size() < kMaxServers;) {
    const std::string entry(list.substr(start, list.find(',', start) - start));
    start += entry.size() + 1;
    const std::string url = serverUrl(entry, useHttps);
    if (url.empty())
      writeLog(log, "Invalid addr %s\n", entry.c_str());
    else
      servers.push_back(url);
  }
  return servers;
}
