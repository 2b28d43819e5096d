// The index in the base directory, which tells what is installed there.
#pragma once

#include <string>

// Copies a downloaded index over the installed one and returns what system()
// does. A copy that fails, on a full disk for instance, leaves the old index: a
// part of the new one would hide from later runs what it does not list. Until
// the copy is complete the old index waits beside it, with ".old" appended.
int installIndexFile(const std::string& downloaded, const std::string& installed);

// Puts back an old index that a killed run has left waiting.
void recoverIndexFile(const std::string& installed);
