// Property: any text reaches a shell command unchanged, and any server list gives only URLs.

#include <algorithm>
#include <array>
#include <cstdio>

#include "engines/server_list.h"
#include "fuzz/input.h"
#include "system/shell_word.h"

namespace {

// Returns what /bin/sh passes to a command for this word.
std::string echoed(const std::string& word) {
  std::string output;
  std::FILE* const pipe = popen(("printf %s " + word).c_str(), "r");
  require(pipe != nullptr, "a shell");
  if (pipe == nullptr) return output;  // for analyzers, which do not know require()
  std::array<char, 4096> buffer{};
  for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    output.append(buffer.data(), n);
  pclose(pipe);
  return output;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  // The text ends at its first NUL, as every configured value does.
  std::string text(reinterpret_cast<const char*>(data), size);
  text.resize(std::min(text.find('\0'), text.size()));
  require(echoed(shellWord(text)) == text, "a word reaches a command unchanged");

  const bool https = size % 2 != 0;
  const std::vector<std::string> servers = usableServers(text, https, nullptr);
  require(servers.size() <= kMaxServers, "not too many");
  for (const std::string& server : servers)
    require(server.rfind(https ? "https://" : "http://", 0) == 0, "the scheme");
  return 0;
}
