#include "engines/kav/kav_updater.h"
#include "tests/sandbox.h"

namespace {

std::string signatureLine(char c) {
  return std::string(58, c) + "\r\n";
}

// An index of entries written "NAME:SIGNATURE", the signature one character, or
// any text without a colon as it is.
std::string index(const std::string& entries) {
  std::string text = "[bases]\r\n";
  for (std::string entry : wordsOf(entries)) {
    const std::size_t colon = entry.find(':');
    if (colon != std::string::npos) entry = entry.substr(0, colon) + "," + std::string(58, entry.back()) + ",10,";
    text += "B=" + entry + "\r\n";
  }
  return text;
}

class KavParts : public Installation {
 protected:
  KavParts() {
    log.Start(nullptr);
    updater.setValues(&log, bases.c_str(), scratch.c_str(), nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
  }

  QX_AVUpdateLog log{"log"};
  QX_KAVUpdater updater;
};

TEST_F(KavParts, ReadsTheIndex) {
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

TEST_F(KavParts, ReadsFields) {
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

TEST_F(KavParts, ReadsSignatureLines) {
  char line[QX_KAVUpdater::kSignatureLineBytes];
  eachCase("kav-signature-lines", [&line](const Case& c) {
    writeFile("f", c.at("text"));
    line[0] = '-', line[1] = '\0';
    EXPECT_EQ(QX_KAVUpdater::getFileSig("f", line), c.at("line") == "-" ? -1 : 0);
    EXPECT_EQ(line, c.at("line"));
  });
  EXPECT_EQ(QX_KAVUpdater::getFileSig(scratch.c_str(), line), -1) << "a directory";
}

TEST_F(KavParts, WorksOutTheChangeSet) {
  eachCase("kav-change-sets", [this](const Case& c) {
    shell("rm -rf " + bases + "/* && : >log");
    for (const std::string& file : wordsOf(c.at("disk")))
      writeFile(bases + "/" + file.substr(0, 1), file.size() > 2 ? signatureLine(file[2]) : "");
    writeFile("new", index(c.at("downloaded")));
    writeFile("old", index(c.at("installed")));
    std::vector<std::int32_t> sizes;
    Strings names, signatures;
    std::int32_t total = -7;
    const char* const old = c.at("installed").empty() ? nullptr : "old";
    EXPECT_EQ(std::to_string(updater.addToDownload("new", old, sizes, names, signatures, &total)), c.at("result"));
    EXPECT_EQ(names, wordsOf(c.at("names")));
    EXPECT_EQ(sizes.size() + signatures.size(), 2 * names.size());
    EXPECT_EQ(std::to_string(total), c.at("total"));
    EXPECT_EQ(readFile("log"), c.at("log"));
  });
}

TEST_F(KavParts, ListsWhatToDelete) {
  writeFile("old", index("a:a b:b gone:g ../g:g /etc/g:g :g ./a:g sub//x:g"));
  writeFile("new", index("a:x"));
  Strings list;
  EXPECT_EQ(updater.addToDelete("new", "old", list), 2);
  EXPECT_EQ(list, (Strings{"b", "gone"}));
  EXPECT_EQ(updater.addToDelete("old", "old", list), 2) << "nothing appended";
  EXPECT_EQ(updater.addToDelete("new", "none", list), -1);
  EXPECT_EQ(updater.addToDelete(nullptr, "old", list), -1);
}

int record(int event, const char*, std::int64_t, std::int64_t, void* events) {
  *static_cast<std::string*>(events) += std::to_string(event) + " ";
  return 0;
}

TEST(KavUnconfigured, DoesNothingAnywhere) {
  QX_KAVUpdater nothing;
  std::string events;
  nothing.SetCallback(record, &events);
  EXPECT_EQ(nothing.update(), -1);
  EXPECT_EQ(events, "1 2 ");
  EXPECT_EQ(nothing.DownloadFile("f", "m", 1, 0), -1);
  EXPECT_EQ(nothing.updatePerServer("m"), -1);
}

TEST(KavSettings, TakeAnEmptyBackupPath) {
  EXPECT_EQ(QX_KAVUpdater().setValues(nullptr, "/b", "/t", "", 0, 0, nullptr, 0, nullptr, nullptr, 5, 0, 2, "m"), 0);
}

}  // namespace
