// The settings of an update, as the coordinator keeps them.
#pragma once

#include <cstdint>

#include "system/owned_string.h"

// Strings are owned copies. Null means not set.
struct UpdateSettings {
  OwnedString basePath;         // the installed signature database
  OwnedString tempPath;         // downloads go here first
  OwnedString backupPath;       // receives a copy of the database; may be null
  std::uint8_t useProxy = 0;    // flag
  std::uint8_t proxyAuth = 0;   // flag: the proxy asks for user and password
  OwnedString proxyServer;      // host; null without useProxy
  std::uint32_t proxyPort = 0;  // 0 without useProxy
  OwnedString proxyUser;        // null without proxyAuth
  OwnedString proxyPassword;    // null without proxyAuth
  std::uint8_t useHttps = 0;    // flag
  std::uint8_t timeout = 0;     // seconds, for wget
  std::uint8_t retries = 0;     // tries per download
  OwnedString serverList;       // comma-separated
};
