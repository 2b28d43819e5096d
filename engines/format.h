// What tells one format of databases from another. A new format is a constant of this kind
// beside its engine; the coordinator and the tools know it by that alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// A file that an index lists, or that an update wants: its name on the server and in the
// database, what proves it (signature or digest), and its listed size in bytes. An index may
// list a name twice.
struct Wanted {
  std::string name;
  std::string proof;
  std::int32_t size;
};

struct EngineFormat {
  std::uint8_t type;   // what QX_GetSystemType() returns for it; no other row has it
  int number;          // of the version file; a higher one counts as well, if no row has it
  const char* prefix;  // of its log lines; its own, and ends in "LOG: "
  const char* index;   // the index's name, beside the bases and on a server

  // Behind the names of a change set: files come compressed, are copied into the database
  // under that name and lose it when they are decompressed there. Empty when they do not;
  // fetchAll() then judges the proof of each.
  const char* suffix;

  // The backup that the engine makes by itself when none is configured: its name below
  // the temp directory, which a number may follow. Null when it makes none.
  const char* ownBackup;

  // The folder that the database must have. The engine makes a database directory that is
  // missing, with this folder in it. Null: the directory must be there and needs no folder.
  const char* folder;

  // False for a new engine. With true, fetchAll() ends early with kDone when DownCancelled is
  // set between two files. The set is incomplete then, and the watcher's next answer must
  // stop the run.
  bool stopsBetweenFiles;

  std::size_t proxyAddressMax;  // characters of the proxy's "HOST:PORT"; SIZE_MAX: no limit
  bool hasSignedPort;           // that port; false for a new engine
  const char* parameters;       // "parameters": a word of the line that refuses settings

  // The files that an index lists, in its order. Nothing when it cannot be read.
  std::optional<std::vector<Wanted>> (*read)(const std::string& index);

  // What proves the file at a path, to be compared with Wanted::proof. Nothing when the
  // file cannot be read.
  std::optional<std::string> (*proofOf)(const std::string& path);
};
