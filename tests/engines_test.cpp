// The operations of both updaters, and the parts behind them, one by one.

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/index_name.h"
#include "engines/kav/kav_updater.h"
#include "engines/server_list.h"
#include "tests/functions.h"

namespace {

template <class Updater>
int set(Updater& updater, QX_AVUpdateLog* log, const char* server = "m",
        const char* proxy = nullptr) {
  const unsigned char useProxy = proxy != nullptr ? 1 : 0;
  return updater.setValues(log, "/var/Quorvex/bases", "/var/Quorvex/tmp", "", useProxy, 0, proxy,
                           8080, nullptr, nullptr, 30, 0, 3, server);
}

// Both updaters, and what they log.
struct Updaters {
  Updaters() {
    remove("log");
    log.Start(nullptr);
    set(kav, &log);
    set(bd, &log);
  }
  QX_AVUpdateLog log{"log"};
  QX_KAVUpdater kav;
  QX_BDUpdater bd;
};

// What is read from an index: an index of these contents, or a file that cannot be read.
const Function index("index", [](const Strings& c) {
  const bool isBd = c.at(0) == "bd", isBroken = c.at(1) == "unreadable";
  if (c.at(1) != "none" && !isBroken) writeFile("index", c.at(1));
  const char* const path = isBroken ? "/proc/self/mem" : "index";
  Strings entries{"old"};
  std::vector<__QX_AvEntry> list(1);
  const int count = isBd ? QX_BDUpdater::GetDownloadList(path, list)
                         : QX_KAVUpdater::GetDownloadList(path, entries);
  remove("index");
  if (isBd) entries.clear();
  for (const __QX_AvEntry& e : list)
    if (isBd) entries.push_back(e.fileName + " " + e.md5 + " " + std::to_string(e.size));
  return std::to_string(count - static_cast<int>(entries.size())) + ";" + joined(entries, ";");
});

const Function klbEntry("klb_entry", [](const Strings& c) {
  char name[QX_KAVUpdater::kFieldBytes] = "-", sign[QX_KAVUpdater::kFieldBytes] = "-";
  const char* const entry = c.at(0).c_str();
  const int results = QX_KAVUpdater::getFname(entry, name) + QX_KAVUpdater::getSign(entry, sign);
  const std::string size = std::to_string(QX_KAVUpdater::getSize(entry));
  return joined({std::to_string(results), name, sign, size}, ";");
});

const Function signature("signature", [](const Strings& c) {
  writeFile("file", c.at(0));
  char line[QX_KAVUpdater::kSignatureLineBytes] = "-";
  return std::to_string(QX_KAVUpdater::getFileSig("file", line)) + line;
});

// Cells: the format, the installed index, if any, and whether the update is cancelled. The
// downloaded index is "new".
const Function changes("changes", [](const Strings& c) {
  Updaters updaters;
  const char* const old = c.at(1).empty() ? nullptr : c.at(1).c_str();
  DownCancelled = !c.at(2).empty();
  std::vector<std::int32_t> sizes;
  Strings names, signatures, dropped;
  std::vector<__QX_AvEntry> entries;
  std::int32_t total = -7;
  std::string text, end;
  if (c.at(0) == "bd") {
    text = std::to_string(updaters.bd.AddToDownload("new", old, entries, &total));
  } else {
    const auto& kav = updaters.kav;
    text = std::to_string(kav.addToDownload("new", old, sizes, names, signatures, &total));
    if (old != nullptr) end = std::to_string(kav.addToDelete("new", old, dropped)) + " dropped:";
  }
  text += " " + std::to_string(total);
  for (const __QX_AvEntry& e : entries) text += " " + e.fileName;
  for (std::size_t i = 0; i < names.size(); ++i)
    text += " " + names[i] + ":" + signatures.at(i).substr(0, 1) + (sizes.at(i) < 0 ? "-" : "");
  return text + ";" + readFile("log") + end + joined(dropped, " ");
});

const Function wgetError("wget_error", [](const Strings& c) {
  Updaters updaters;
  std::string told;
  const auto watch = [](int event, const char* text, std::int64_t, std::int64_t, void* data) {
    *static_cast<std::string*>(data) += std::to_string(event) + text;
    return 0;
  };
  updaters.bd.setCallback(watch, &told);
  shell("rm -f /var/Quorvex/tmp/*");
  if (!c.at(0).empty()) writeFile("/var/Quorvex/tmp/avupdate_wget.err", c.at(0));
  const int code = updaters.bd.DownloadError("f");
  return std::to_string(code) + ";" + told + ";" + readFile("log");
});

const Function names("index_name", [](const Strings& c) {
  Strings safe;
  for (const std::string& name : wordsOf(c.at(0), ','))
    if (isSafeName(name, "avp.klb")) safe.push_back(name);
  return joined(safe, ",");
});

const Function places("places", [](const Strings& c) {
  shell(
      "rm -f log && mkdir -p base/sub temp backup mount/x && ln -sfn base link && "
      "mkdir -p base/sub/x outside && ln -sfn ../outside base/linked && { mountpoint -q mount || "
      "mount --bind base/sub mount; }");
  QX_AVUpdateLog log("log");
  log.Start(nullptr);
  Session session(kKavFormat);
  session.places = {c.at(0), c.at(1), c.at(1), {}};
  if (!c.at(2).empty()) session.places.backup = c.at(2);
  const bool apart = arePlacesApart(session.places, "LOG: ", &log);
  const char* const told = NameJudge(session).refuses(c.at(3)) ? "reached" : "apart";
  return (apart ? told : "") + readFile("log");
});

const Function servers("servers", [](const Strings& c) {
  return joined(usableServers(c.at(0), c.at(1) == "https", nullptr), " ");
});

const Function md5sum("md5sum", [](const Strings& c) {
  char digest[QX_UTILS::kDigestBytes] = "-";
  return std::to_string(QX_UTILS::md5sum(c.at(0).c_str(), digest)) + digest;
});

// Cells: values, each of which is left out once.
const Function complete("complete", [](const Strings& c) {
  std::string results;
  for (const std::string& left : wordsOf(c.at(0))) {
    const auto value = [&left](const char* name) { return left == name ? nullptr : name; };
    results += std::to_string(QX_BDUpdater().setValues(
        nullptr, value("/base"), value("/tmp"), nullptr, 1, 1, value("proxy"), 8080, value("user"),
        value("password"), 30, 0, 3, value("mirror")));
  }
  return results;
});

using Engines = OnMachine;

TEST_F(Engines, RefuseWhatCannotBe) {
  Updaters updaters;
  auto& [log, kav, bd] = updaters;
  QX_AVUpdateLog* const none = nullptr;
  EXPECT_EQ(set(kav, none, "m", std::string(59, 'h').c_str()), 0);
  EXPECT_EQ(set(kav, &log, "m", std::string(60, 'h').c_str()), -1) << "an address of 65 characters";
  EXPECT_EQ(set(kav, &log, nullptr) + set(bd, &log, nullptr), -2);
  const std::string refused = "KLOG: Invalid update arameters to set\n";
  EXPECT_EQ(readFile("log"), refused + refused + "LOG: Invalid update parameters to set\n");
  EXPECT_EQ(bd.GetCurrentAVBackup() + bd.RevertCurrentBackup(), -2) << "an empty backup path";
  EXPECT_EQ(kav.SetCallback(nullptr, nullptr) + bd.setCallback(nullptr, nullptr), -2);
  EXPECT_EQ(bd.DownloadFile(nullptr, "f", 1, false) + bd.DownloadFile("m", nullptr, 1, false) +
                kav.DownloadFile("f", nullptr, 1, 0) + kav.DownloadFile(nullptr, "m", 1, 0),
            -3);
  Strings dropped;
  EXPECT_EQ(kav.addToDelete(nullptr, "f", dropped) + kav.addToDelete("f", nullptr, dropped), -2);
  EXPECT_EQ(set(kav, none, "ftp://m") + set(bd, none, "ftp://m"), -6);
  kav.Dealloc();
  EXPECT_EQ(std::getenv("http_proxy"), nullptr);
  bd.DeallocMemory();
  EXPECT_EQ(kav.update() + kav.DownloadFile("f", "m", 1, 0) + kav.updatePerServer("m"), -3);
  EXPECT_EQ(bd.updateNow() + bd.MakeDirs() + bd.DownloadFile("m", "f", 1, false), -3);
  EXPECT_EQ(bd.UpdatePerServer("m"), -1);
  EXPECT_EQ(bd.GetCurrentAVBackup() + bd.RevertCurrentBackup(), -2);
  EXPECT_EQ(bd.DeleteCurrentBackup() + bd.RemoveDirs(), 0);
}

}  // namespace
