// Makes values into words of a shell command.
#pragma once

#include <string>
#include <string_view>

// Returns the value as one word of a shell command. The shell passes the value on unchanged.
// The word has single quotes when the value is empty or holds a character that could mean
// something to the shell. The value must not hold NUL.
std::string shellWord(std::string_view value);
