// The bounds of the settings that are numbers, and sums of listed sizes.
#pragma once

#include <cstdint>

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
