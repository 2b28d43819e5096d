// The operations of both updaters, one by one.

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/kav/kav_updater.h"
#include "tests/installation.h"

namespace {

template <class Updater>
int set(Updater& updater, QX_AVUpdateLog* log, const char* server = "m", const char* proxy = nullptr) {
  return updater.setValues(log, bases.c_str(), temp.c_str(), "", proxy != nullptr ? 1 : 0, 0, proxy, 8080, nullptr,
      nullptr, 30, 0, 3, server);
}

// An updater and what it logs.
template <class Updater>
struct Engine {
  Engine() {
    remove("log");
    log.Start(nullptr);
    set(updater, &log);
  }
  ~Engine() { DownCancelled = false; }
  QX_AVUpdateLog log{"log"};
  Updater updater;
};

// Cells: the indexes that are installed and downloaded, the files that are there.
const char* lay(const std::string& format, const Strings& c) {
  DownCancelled = c.at(0).find("cancelled") != std::string::npos;
  writeTree(bases, filesOf(format, c.at(2)));
  writeFile("old", indexOf(format, wordsOf(c.at(0), ";")));
  writeFile("new", indexOf(format, wordsOf(c.at(1), ";")));
  return c.at(0).empty() ? nullptr : "old";
}

// A file that can be opened and not be read, or one of these contents.
void layIndex(const std::string& contents) {
  if (contents == "unreadable")
    shell("ln -sfn /proc/self/mem index");
  else if (contents != "none")
    shell("rm -f index"), writeFile("index", contents);
}

const Function klbIndex("klb_index", [](const Strings& c) {
  layIndex(c.at(0));
  Strings list{"old"};
  const int count = QX_KAVUpdater::GetDownloadList("index", list);
  return std::to_string(count - static_cast<int>(list.size())) + ";" + joined(list, ";");
});

const Function klbEntry("klb_entry", [](const Strings& c) {
  char name[QX_KAVUpdater::kFieldBytes] = "-", sign[QX_KAVUpdater::kFieldBytes] = "-";
  const char* const entry = c.at(0).c_str();
  const int results = QX_KAVUpdater::getFname(entry, name) + QX_KAVUpdater::getSign(entry, sign);
  return joined({std::to_string(results), name, sign, std::to_string(QX_KAVUpdater::getSize(entry))}, ";");
});

const Function signature("signature", [](const Strings& c) {
  writeFile("file", c.at(0));
  char line[QX_KAVUpdater::kSignatureLineBytes] = "-";
  return std::to_string(QX_KAVUpdater::getFileSig("file", line)) + line;
});

const Function kavChanges("kav_changes", [](const Strings& c) {
  Engine<QX_KAVUpdater> engine;
  std::vector<std::int32_t> sizes;
  Strings names, signatures, dropped;
  std::int32_t total = -7;
  const char* const old = lay("kav", c);
  const int result = engine.updater.addToDownload("new", old, sizes, names, signatures, &total);
  std::string text = std::to_string(result) + " " + std::to_string(total);
  for (std::size_t i = 0; i < names.size(); ++i)
    text += " " + names[i] + ":" + signatures.at(i).substr(0, 1) + (sizes.at(i) < 0 ? "-" : "");
  text += ";" + readFile("log");
  if (old != nullptr) text += std::to_string(engine.updater.addToDelete("new", old, dropped)) + " dropped:";
  return text + joined(dropped, " ");
});

const Function versionsIndex("versions_index", [](const Strings& c) {
  layIndex(c.at(0));
  std::vector<__QX_AvEntry> list(3);
  const int count = QX_BDUpdater::GetDownloadList("index", list);
  std::string entries = std::to_string(count - static_cast<int>(list.size()));
  for (const __QX_AvEntry& e : list) entries += ";" + e.fileName + " " + e.md5 + " " + std::to_string(e.size);
  return entries;
});

const Function bdChanges("bd_changes", [](const Strings& c) {
  Engine<QX_BDUpdater> engine;
  std::vector<__QX_AvEntry> changes;
  std::int32_t total = -7;
  const char* const old = lay("bd", c);
  const int result = engine.updater.AddToDownload("new", old, changes, &total);
  std::string text = std::to_string(result) + " " + std::to_string(total);
  for (const __QX_AvEntry& e : changes) text += " " + e.fileName;
  return text + ";" + readFile("log");
});

const Function wgetError("wget_error", [](const Strings& c) {
  Engine<QX_BDUpdater> engine;
  std::string told;
  Watch keep = [&told](int event, auto& text, auto, auto) {
    told += std::to_string(event) + text;
    return 0;
  };
  engine.updater.setCallback(callWatch, &keep);
  writeFile(temp + "/avupdate_wget.err", c.at(0));
  if (c.at(0).empty()) shell("rm " + temp + "/avupdate_wget.err");
  const int code = engine.updater.DownloadError("f");
  return std::to_string(code) + ";" + told + ";" + readFile("log");
});

class Engines : public OnMachine {};

TEST_F(Engines, RefuseWhatCannotBe) {
  Engine<QX_KAVUpdater> kav;
  Engine<QX_BDUpdater> bd;
  EXPECT_EQ(set(kav.updater, &kav.log, "m", std::string(59, 'h').c_str()), 0);
  EXPECT_EQ(set(kav.updater, &bd.log, "m", std::string(60, 'h').c_str()), -1) << "an address of 65 characters";
  EXPECT_EQ(set(kav.updater, &kav.log, nullptr) + set(bd.updater, &bd.log, nullptr), -2);
  EXPECT_EQ(readFile("log"), "KLOG: Invalid update arameters to set\nLOG: Invalid update parameters to set\n");
  EXPECT_EQ(bd.updater.GetCurrentAVBackup() + bd.updater.RevertCurrentBackup(), -2) << "an empty backup path";
  EXPECT_EQ(kav.updater.SetCallback(nullptr, nullptr) + bd.updater.setCallback(nullptr, nullptr), -2);
  EXPECT_EQ(set(kav.updater, nullptr, "ftp://m") + set(bd.updater, nullptr, "ftp://m"), -6);
  kav.updater.Dealloc();
  EXPECT_EQ(std::getenv("http_proxy"), nullptr);
  bd.updater.DeallocMemory();
  EXPECT_EQ(kav.updater.update() + kav.updater.DownloadFile("f", "m", 1, 0) + kav.updater.updatePerServer("m"), -3);
  EXPECT_EQ(bd.updater.updateNow() + bd.updater.MakeDirs() + bd.updater.UpdatePerServer("m"), -3);
  EXPECT_EQ(bd.updater.GetCurrentAVBackup() + bd.updater.RevertCurrentBackup(), -2);
  EXPECT_EQ(bd.updater.DeleteCurrentBackup() + bd.updater.RemoveDirs(), 0);
}

}  // namespace
