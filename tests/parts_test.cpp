// The parts behind the published classes.

#include "engines/index_name.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "tests/installation.h"

namespace {

const Function names("index_name", [](const Strings& c) {
  std::string safe;
  for (const std::string& name : wordsOf(c.at(0), ','))
    if (isSafeName(name, "avp.klb")) safe += (safe.empty() ? "" : ",") + name;
  return safe;
});

const Function places("places", [](const Strings& c) {
  shell("rm -f log && mkdir -p base/sub temp && ln -sfn base link");
  QX_AVUpdateLog log("log");
  log.Start(nullptr);
  const bool apart = arePlacesApart(c.at(0), c.at(1), c.at(2), "LOG: ", &log);
  return (apart ? "apart" : "") + readFile("log");
});

const Function servers("servers", [](const Strings& c) {
  OwnedString list[kMaxServers];
  const int count = fillServers(list, c.at(0), c.at(1) == "https", nullptr);
  std::string joined;
  for (int i = 0; i < count; ++i) joined += (i == 0 ? "" : " ") + std::string(list[i].get());
  return joined;
});

}  // namespace
