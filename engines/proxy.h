// The proxy of an update, and the environment that tells wget of it.
#pragma once

#include <cstdint>
#include <string>

// A view of a caller's settings; owns nothing. Unused texts may be null.
struct ProxySettings {
  std::uint8_t use;   // flag
  std::uint8_t auth;  // flag: the proxy asks for user and password
  const char* server;
  std::uint32_t port;
  const char* user;
  const char* password;
};

// Whether everything that the two flags call for is there. User and password are
// called for by `auth` alone, also when no proxy is used.
bool isComplete(const ProxySettings& proxy);

// "HOST:PORT".
std::string proxyAddress(const char* host, std::int64_t port);

// Sets ftp_proxy, https_proxy and http_proxy to the address, for the commands
// run from now on.
void exportProxy(const std::string& address);

// Removes the three variables again.
void removeProxy();
