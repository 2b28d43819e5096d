// Signature bases of both formats, "kav" and "bd", in short.
//
// "a:x,Plugins/b:y" are two files, each 1 KiB of its letter (with the signature line, in
// the format that has one); "a:" is an empty one. An index is written by its number, as
// "index:2", also where it waits, as "waiting:2".
#pragma once

#include "tests/machine.h"

std::string indexName(const std::string& format);

// The text of an index that lists the files; a text without a colon is a line as it is.
std::string indexOf(const std::string& format, const Strings& files, int number = 0);

// The files as they lie in a database.
Tree filesOf(const std::string& format, const std::string& files);

// What a mirror of the files holds, its index among them.
Tree mirrorOf(const std::string& format, const std::string& files, int number);

// The name under which a mirror has a file or "index".
std::string mirrorName(const std::string& format, const std::string& file);

// What a directory holds, in short: "?" for contents of no other kind, "nothing" also
// for a directory that is not there.
std::string stateOf(const std::string& format, const std::string& directory);
