#include "engines/index_file.h"

#include <unistd.h>

#include <cstdio>

#include "engines/file_commands.h"

namespace {

std::string waitingName(const std::string& installed) {
  return installed + ".old";
}

}  // namespace

int installIndexFile(const std::string& downloaded, const std::string& installed) {
  const std::string waiting = waitingName(installed);
  const bool hadIndex = std::rename(installed.c_str(), waiting.c_str()) == 0;
  const int status = copyFile(downloaded, installed);
  if (status == 0)
    unlink(waiting.c_str());
  else if (hadIndex)
    std::rename(waiting.c_str(), installed.c_str());
  else
    unlink(installed.c_str());
  return status;
}

void recoverIndexFile(const std::string& installed) {
  std::rename(waitingName(installed).c_str(), installed.c_str());
}
