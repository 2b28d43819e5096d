// The bounds of the settings that are numbers, and sums of listed sizes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

// Tries per download: 2 to 5, otherwise 3.
inline int boundedRetries(std::uint8_t retries) {
  return retries >= 2 && retries <= 5 ? retries : 3;
}

// Seconds, at least 5.
inline int boundedTimeout(std::uint8_t seconds) {
  return seconds >= 5 ? seconds : 5;
}

// The sum in 32 bits. It wraps: sizes come from an index, which may list
// anything, and serve the progress display alone.
inline std::int32_t addBytes(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// A size as an index lists it: leading decimal digits with an optional sign, 0
// without any, the nearest number of 32 bits for one that has more.
inline std::int32_t listedSize(const std::string& text) {
  const long size = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long>(size, INT32_MIN, INT32_MAX));
}
