// The index in the base directory, which tells what is installed there.
//
// A part of an index would hide from later runs what it does not list. While the
// index, or what stands around it, is being replaced, the old one therefore waits
// beside it under another name; a run that finds one waiting puts it back.
#pragma once

#include <string>

// Copies a downloaded index over the installed one and returns what system()
// does. A copy that fails, on a full disk for instance, leaves the old index, or
// none where there was none.
int installIndexFile(const std::string& downloaded, const std::string& installed);

// Lets the installed index wait. Returns whether there is one.
bool setIndexAside(const std::string& installed);

// Puts back an index that waits, if one does.
void putIndexBack(const std::string& installed);
