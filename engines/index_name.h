// Names of files as an index lists them.
#pragma once

#include <string_view>

// Whether a name stays below the directory that it is joined to: it is not
// absolute and holds neither a ".." component nor a control character. An index
// comes over plain HTTP: it may never write or delete outside the database.
bool isSafeName(std::string_view name);

// Whether a name is safe and written in the one usual way: it is not empty and
// has no "." or empty component, so another name stands for another file.
bool isPlainName(std::string_view name);
