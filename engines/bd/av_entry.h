// One database file, as the index versions.dat lists it.
#pragma once

#include <cstdint>
#include <string>

inline constexpr char kBdSuffix[] = ".gzip";  // of the compressed files on a server

// A value; lists of entries hold them in the order of the index.
struct __QX_AvEntry {     // NOLINT(bugprone-reserved-identifier): the record's published name
  std::string fileName;   // below basePath; in a change set with ".gzip" appended
  std::string md5;        // of the uncompressed file, 32 lower-case digits to match one
  std::int32_t size = 0;  // bytes, as listed; feeds the progress display alone
};
