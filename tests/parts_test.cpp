// The parts behind the published classes.

#include "engines/change_set.h"
#include "engines/index_name.h"
#include "engines/kav/kav_updater.h"
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
  shell(
      "rm -f log && mkdir -p base/sub temp backup mount/x && ln -sfn base link && mkdir -p base/sub/x && "
      "{ mountpoint -q mount || mount --bind base/sub mount; }");
  QX_AVUpdateLog log("log");
  log.Start(nullptr);
  Places p{c.at(0), c.at(1), c.at(1), {}};
  if (!c.at(2).empty()) p.backup = c.at(2);
  const bool apart = arePlacesApart(p, "LOG: ", &log);
  Session session(kKavFormat);
  session.places = p;
  return (!apart ? "" : NameJudge(session).refuses(c.at(3)) ? "reached" : "apart") + readFile("log");
});

const Function servers(
    "servers", [](const Strings& c) { return joined(usableServers(c.at(0), c.at(1) == "https", nullptr), " "); });

}  // namespace
