#include "engines/proxy.h"

#include <cstdlib>

namespace {

constexpr const char* kVariables[] = {"ftp_proxy", "https_proxy", "http_proxy"};

}  // namespace

bool isComplete(const ProxySettings& proxy) {
  if (proxy.use != 0 && (proxy.server == nullptr || proxy.port == 0)) return false;
  return proxy.auth == 0 || (proxy.user != nullptr && proxy.password != nullptr);
}

std::string proxyAddress(const char* host, std::int64_t port) {
  return std::string(host) + ":" + std::to_string(port);
}

void exportProxy(const std::string& address) {
  for (const char* const variable : kVariables) setenv(variable, address.c_str(), 1);
}

void removeProxy() {
  for (const char* const variable : kVariables) unsetenv(variable);
}
