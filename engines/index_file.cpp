#include "engines/index_file.h"

#include <unistd.h>

#include <cstdio>

#include "engines/file_commands.h"

namespace {

// Hidden, so that a backup copied back by pattern does not bring another.
std::string waitingName(const std::string& installed) {
  const std::size_t name = installed.rfind('/') + 1;
  return installed.substr(0, name) + "." + installed.substr(name) + ".waiting";
}

}  // namespace

int installIndexFile(const std::string& downloaded, const std::string& installed) {
  const bool hadIndex = setIndexAside(installed);
  const int status = copyFile(downloaded, installed);
  if (status == 0)
    unlink(waitingName(installed).c_str());
  else if (hadIndex)
    putIndexBack(installed);
  else
    unlink(installed.c_str());
  return status;
}

bool setIndexAside(const std::string& installed) {
  return std::rename(installed.c_str(), waitingName(installed).c_str()) == 0;
}

void putIndexBack(const std::string& installed) {
  std::rename(waitingName(installed).c_str(), installed.c_str());
}
