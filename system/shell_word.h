// Values as words of a shell command.
#pragma once

#include <string>
#include <string_view>

// The value as one word that the shell hands on unchanged: as it is when it holds only
// characters that mean nothing to the shell, in single quotes otherwise. The value
// holds no NUL.
std::string shellWord(std::string_view value);
