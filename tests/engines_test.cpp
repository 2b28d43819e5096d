// The operations of both updaters, one by one.

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/kav/kav_updater.h"
#include "tests/bases.h"

namespace {

int record(int event, const char* text, std::int64_t, std::int64_t, void* events) {
  *static_cast<std::string*>(events) += std::to_string(event) + (text != nullptr ? text : "") + " ";
  return 0;
}

class Engines : public Installation {
 protected:
  Engines() {
    log.Start(nullptr);
    kav.setValues(&log, bases.c_str(), temp.c_str(), nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
    bd.setValues(&log, bases.c_str(), temp.c_str(), nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
  }
  ~Engines() override { DownCancelled = false; }

  // The files of a change set's case and both its indexes, of which the installed one
  // may be none.
  static const char* lay(const std::string& format, const Case& c) {
    writeFile("log", "");
    writeTree(bases, filesOf(format, c.at("disk")));
    writeFile("new", indexOf(format, wordsOf(c.at("downloaded"), ';')));
    writeFile("old", indexOf(format, wordsOf(c.at("installed"), ';')));
    return c.at("installed").empty() ? nullptr : "old";
  }

  QX_AVUpdateLog log{"log"};
  QX_KAVUpdater kav;
  QX_BDUpdater bd;
};

TEST_F(Engines, KavReadsTheIndex) {
  eachCase("kav-indexes", [](const Case& c) {
    writeFile("i", c.at("text"));
    Strings list{"old"};
    const int count = QX_KAVUpdater::GetDownloadList("i", list);
    EXPECT_EQ(count, static_cast<int>(list.size()));
    EXPECT_EQ(QX_KAVUpdater::GetDownloadList("/no/such", list), -1);
    std::string entries;
    for (const std::string& entry : list) entries += entry + ";";
    EXPECT_EQ(entries, c.at("entries"));
  });
}

TEST_F(Engines, KavReadsFields) {
  eachCase("kav-entries", [](const Case& c) {
    const char* const entry = c.at("entry").c_str();
    char name[QX_KAVUpdater::kFieldBytes] = "-", sign[QX_KAVUpdater::kFieldBytes] = "-";
    EXPECT_EQ(QX_KAVUpdater::getFname(entry, name), c.at("name") == "-" ? -1 : 0);
    EXPECT_EQ(QX_KAVUpdater::getSign(entry, sign), c.at("signature") == "-" ? -1 : 0);
    EXPECT_EQ(name, c.at("name"));
    EXPECT_EQ(sign, c.at("signature"));
    EXPECT_EQ(std::to_string(QX_KAVUpdater::getSize(entry)), c.at("size"));
  });
}

TEST_F(Engines, KavReadsSignatureLines) {
  const int open = openFiles();
  eachCase("kav-signature-lines", [](const Case& c) {
    writeFile("f", c.at("text"));
    char line[QX_KAVUpdater::kSignatureLineBytes] = "-";
    EXPECT_EQ(QX_KAVUpdater::getFileSig("f", line), c.at("line") == "-" ? -1 : 0);
    EXPECT_EQ(line, c.at("line"));
  });
  EXPECT_EQ(openFiles(), open);
}

TEST_F(Engines, KavWorksOutTheChangeSet) {
  eachCase("kav-change-sets", [this](const Case& c) {
    const char* const old = lay("kav", c);
    std::vector<std::int32_t> sizes;
    Strings names, signatures;
    std::int32_t total = -7;
    EXPECT_EQ(std::to_string(kav.addToDownload("new", old, sizes, names, signatures, &total)), c.at("result"));
    EXPECT_EQ(names, wordsOf(c.at("names")));
    EXPECT_EQ(sizes.size(), names.size());
    EXPECT_EQ(signatures.size(), names.size());
    EXPECT_EQ(std::to_string(total), c.at("total"));
    EXPECT_EQ(readFile("log"), c.at("log"));
  });
}

TEST_F(Engines, KavListsWhatToDelete) {
  writeFile("old", indexOf("kav", {"a:a", "b:b", "gone:g", "d:d", "../g:g", "/etc/g:g", ":g", "./a:g", "sub//x:g"}));
  writeFile("new", indexOf("kav", {"a:x"}));
  Strings list;
  EXPECT_EQ(kav.addToDelete("new", "old", list), 3);
  EXPECT_EQ(list, (Strings{"b", "gone", "d"}));
  EXPECT_EQ(kav.addToDelete("new", "none", list), -1);
  EXPECT_EQ(kav.addToDelete(nullptr, "old", list), -1);
  DownCancelled = true;
  EXPECT_EQ(kav.addToDelete("new", "old", list), 2);
  EXPECT_EQ(list.size(), 3U) << "nothing appended";
}

TEST_F(Engines, BdDigestsAgreeWithTheSystem) {
  const int open = openFiles();
  for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 500000U}) {
    writeFile("f", std::string(size, 'x'));
    shell("md5sum f | cut -c 1-32 | tr -d '\\n' >expected");
    char digest[QX_UTILS::kDigestBytes] = "-";
    EXPECT_EQ(QX_UTILS::md5sum("f", digest), 0);
    EXPECT_EQ(digest, readFile("expected")) << size;
    EXPECT_EQ(QX_UTILS::md5sum("/var", digest), -1);
    EXPECT_EQ(QX_UTILS::md5sum("/no/such", digest), -1);
    EXPECT_EQ(digest, readFile("expected")) << "untouched";
  }
  EXPECT_EQ(openFiles(), open);
}

TEST_F(Engines, BdReadsTheIndex) {
  eachCase("bd-indexes", [](const Case& c) {
    writeFile("i", c.at("text"));
    std::vector<__QX_AvEntry> list(3);
    const int count = QX_BDUpdater::GetDownloadList("i", list);
    EXPECT_EQ(count, static_cast<int>(list.size()));
    EXPECT_EQ(QX_BDUpdater::GetDownloadList("/no/such", list), -1);
    std::string entries;
    for (const __QX_AvEntry& e : list) entries += e.fileName + " " + e.md5 + " " + std::to_string(e.size) + ";";
    EXPECT_EQ(entries, c.at("entries"));
  });
}

TEST_F(Engines, BdWorksOutTheChangeSet) {
  std::vector<__QX_AvEntry> changes;
  std::int32_t total = -7;
  eachCase("bd-change-sets",
      [&](const Case& c) {
        const char* const old = lay("bd", c);
        changes.clear();
        total = -7;
        EXPECT_EQ(std::to_string(bd.AddToDownload("new", old, changes, &total)), c.at("result"));
        Strings names;
        for (const __QX_AvEntry& e : changes) names.push_back(e.fileName);
        EXPECT_EQ(names, wordsOf(c.at("names")));
        EXPECT_EQ(total, c.at("result") == "0" ? static_cast<int>(changes.size()) * 1024 : -7);
        EXPECT_EQ(readFile("log"), c.at("log"));
      },
      {{"unreadable", "LOG: Error getting md5sum of file (/var/Quorvex/bases/f)\n"}});
  EXPECT_EQ(bd.AddToDownload("none", nullptr, changes, &total), -1);
  EXPECT_EQ(bd.AddToDownload("new", "none", changes, &total), -1);
  DownCancelled = true;
  total = -7;
  EXPECT_EQ(bd.AddToDownload("old", "old", changes, &total), 2);
  EXPECT_EQ(total, -7);
}

TEST_F(Engines, BdTellsWhyADownloadFailed) {
  eachCase("wget-errors", [this](const Case& c) {
    std::string events;
    bd.setCallback(record, &events);
    writeFile("log", "");
    writeFile(temp + "/avupdate_wget.err", c.at("log"));
    if (c.at("log").empty()) shell("rm " + temp + "/avupdate_wget.err");
    EXPECT_EQ(std::to_string(bd.DownloadError("f")), c.at("code"));
    EXPECT_EQ(events, "11" + c.at("shown") + " ");
    EXPECT_EQ(readFile("log"), (c.at("log").empty() ? "LOG: Error downloading f" : c.at("shown")) + "\n");
  });
}

TEST_F(Engines, DoNothingAnywhereWithoutSettings) {
  std::string events;
  kav.Dealloc();
  kav.SetCallback(record, &events);
  EXPECT_EQ(kav.update(), -1);
  EXPECT_EQ(events, "1 2 ");
  EXPECT_EQ(kav.DownloadFile("f", "m", 1, 0), -1);
  EXPECT_EQ(kav.updatePerServer("m"), -1);
  events.clear();
  bd.DeallocMemory();
  bd.setCallback(record, &events);
  EXPECT_EQ(bd.updateNow(), -1);
  EXPECT_EQ(events, "11Invalid uninitized update call ");
  EXPECT_EQ(bd.MakeDirs(), -1);
  EXPECT_EQ(bd.GetCurrentAVBackup(), -1);
  EXPECT_EQ(bd.RevertCurrentBackup(), -1);
  EXPECT_EQ(bd.DeleteCurrentBackup(), 0);
  EXPECT_EQ(bd.RemoveDirs(), 0);
  EXPECT_EQ(bd.DownloadFile("m", "f", 1, false), -1);
  EXPECT_EQ(bd.UpdatePerServer("m"), -1);
  EXPECT_EQ(stateOf("bd", bases), "nothing");
}

TEST_F(Engines, RefuseSettings) {
  const std::string longHost(60, 'h');
  EXPECT_EQ(kav.setValues(nullptr, "/b", "/t", "", 0, 0, nullptr, 0, nullptr, nullptr, 5, 0, 2, "m"), 0);
  EXPECT_EQ(kav.setValues(nullptr, "/b", "/t", "", 1, 0, longHost.c_str(), 808, "", "", 5, 0, 2, "m"), 0);
  EXPECT_EQ(kav.setValues(&log, "/b", "/t", "", 1, 0, longHost.c_str(), 8080, "", "", 5, 0, 2, "m"), -1);
  EXPECT_EQ(kav.setValues(&log, "/b", "/t", "", 1, 0, nullptr, 8080, "", "", 5, 0, 2, "m"), -1);
  EXPECT_EQ(kav.setValues(nullptr, "/b", "/t", "", 0, 0, nullptr, 0, nullptr, nullptr, 5, 0, 2, "ftp://m"), -3);
  EXPECT_EQ(bd.setValues(&log, "/b", nullptr, "", 0, 0, nullptr, 0, nullptr, nullptr, 5, 0, 2, "m"), -1);
  EXPECT_EQ(bd.setValues(nullptr, "/b", temp.c_str(), "", 0, 0, nullptr, 0, nullptr, nullptr, 5, 0, 2, "ftp://m"), -3);
  EXPECT_EQ(kav.SetCallback(nullptr, nullptr), -1);
  EXPECT_EQ(readFile("log"),
      "KLOG: Invalid update arameters to set\nKLOG: Invalid update arameters to set\n"
      "LOG: Invalid update parameters to set\n");
}

}  // namespace
