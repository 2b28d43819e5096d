#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "tests/sandbox.h"

namespace {

// An index of entries written "NAME:CONTENTS", or any line without a colon as it
// is.
std::string index(const std::string& entries) {
  std::string text;
  for (std::string entry : wordsOf(entries, ',')) {
    const std::size_t colon = entry.find(':');
    if (colon != std::string::npos) {
      writeFile("contents", entry.substr(colon + 1));
      char digest[QX_UTILS::kDigestBytes];
      QX_UTILS::md5sum("contents", digest);
      entry = std::string("+ ") + digest + " " + entry.substr(0, colon) + " 10";
    }
    text += entry + "\n";
  }
  return text;
}

class BdParts : public Installation {
 protected:
  BdParts() {
    log.Start(nullptr);
    updater.setValues(&log, bases.c_str(), temp.c_str(), nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
  }
  ~BdParts() override { DownCancelled = false; }

  QX_AVUpdateLog log{"log"};
  QX_BDUpdater updater;
};

TEST_F(BdParts, DigestsAgreeWithTheSystem) {
  for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 5000000U}) {
    writeFile("f", std::string(size, 'x'));
    shell("md5sum f | cut -c 1-32 | tr -d '\\n' >expected");
    char digest[QX_UTILS::kDigestBytes] = "-";
    EXPECT_EQ(QX_UTILS::md5sum("f", digest), 0);
    EXPECT_EQ(digest, readFile("expected")) << size;
    EXPECT_EQ(QX_UTILS::md5sum(scratch.c_str(), digest), -1);
    EXPECT_EQ(QX_UTILS::md5sum("/no/such", digest), -1);
    EXPECT_EQ(digest, readFile("expected")) << "untouched";
  }
}

TEST_F(BdParts, ReadsTheIndex) {
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

TEST_F(BdParts, FetchesWhatDiffers) {
  std::vector<__QX_AvEntry> changes;
  std::int32_t total = -7;
  eachCase("bd-change-sets", [&](const Case& c) {
    Tree disk;
    for (const std::string& file : wordsOf(c.at("disk"), ','))
      disk[file.substr(0, file.find(':'))] = file.substr(file.find(':') + 1);
    writeTree(bases, disk);
    writeFile("log", "");
    writeFile("new", index(c.at("downloaded")));
    writeFile("old", index(c.at("installed")));
    changes.clear();
    total = -7;
    const char* const old = c.at("installed").empty() ? nullptr : "old";
    EXPECT_EQ(std::to_string(updater.AddToDownload("new", old, changes, &total)), c.at("result"));
    Strings names;
    for (const __QX_AvEntry& e : changes) names.push_back(e.fileName);
    EXPECT_EQ(names, wordsOf(c.at("names")));
    EXPECT_EQ(total, c.at("result") == "0" ? static_cast<int>(changes.size()) * 10 : -7);
    EXPECT_EQ(readFile("log"), c.at("log"));
  });
  total = -7;
  EXPECT_EQ(updater.AddToDownload("none", nullptr, changes, &total), -1);
  EXPECT_EQ(updater.AddToDownload("new", "none", changes, &total), -1);
  DownCancelled = true;
  EXPECT_EQ(updater.AddToDownload("old", "old", changes, &total), 2);
  EXPECT_EQ(total, -7);
}

TEST(BdUnconfigured, DoesNothingAnywhere) {
  QX_BDUpdater nothing;
  EXPECT_EQ(nothing.updateNow(), -1);
  EXPECT_EQ(nothing.MakeDirs(), -1);
  EXPECT_EQ(nothing.GetCurrentAVBackup(), -1);
  EXPECT_EQ(nothing.RevertCurrentBackup(), -1);
  EXPECT_EQ(nothing.DeleteCurrentBackup(), 0);
  EXPECT_EQ(nothing.RemoveDirs(), 0);
  EXPECT_EQ(nothing.DownloadFile("m", "f", 1, false), -1);
  EXPECT_EQ(nothing.UpdatePerServer("m"), -1);
}

}  // namespace
