// The parts behind the published classes.

#include "engines/index_name.h"
#include "engines/places.h"
#include "engines/server_list.h"
#include "tests/installation.h"

namespace {

const Function names("index_name", [](const Strings& c) {
  Strings safe;
  for (const std::string& name : wordsOf(c.at(0), ","))
    if (isSafeName(name, "avp.klb")) safe.push_back(name);
  return joined(safe, ",");
});

const Function places("places", [](const Strings& c) {
  shell("rm -f log && mkdir -p base/sub temp && ln -sfn base link");
  QX_AVUpdateLog log("log");
  log.Start(nullptr);
  static constexpr EngineFormat kFormat{"LOG: ", "i", false};
  Session session(kFormat);
  session.log = &log;
  session.basePath = c.at(0);
  session.tempPath = session.downloadPath = c.at(1);
  session.backupPath = c.at(2);
  const bool apart = arePlacesApart(session);
  return (!apart ? "" : reachesPlaces(session, c.at(3)) ? "reached" : "apart") + readFile("log");
});

const Function servers(
    "servers", [](const Strings& c) { return joined(usableServers(c.at(0), c.at(1) == "https", nullptr), " "); });

}  // namespace
