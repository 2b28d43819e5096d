#include "engines/server_list.h"

namespace {

constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";

}  // namespace

std::string serverUrl(std::string_view entry, bool useHttps) {
  const std::string scheme(useHttps ? kHttps : kHttp);
  const std::size_t http = entry.find(kHttp);
  const std::size_t https = entry.find(kHttps);
  if (http == std::string_view::npos && https == std::string_view::npos) {
    if (entry.find("://") != std::string_view::npos) return std::string();
    return scheme + std::string(entry);
  }
  const auto elsewhere = [](std::size_t position) {
    return position != 0 && position != std::string_view::npos;
  };
  if (elsewhere(http) || elsewhere(https)) return std::string();
  return scheme + std::string(entry.substr(http == 0 ? kHttp.size() : kHttps.size()));
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
