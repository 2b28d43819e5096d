#include <sys/stat.h>

#include <sstream>

#include "app/interrupt.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "tests/sandbox.h"

namespace {

std::string digestOf(const std::string& contents) {
  writeFile("digest", contents);
  char digest[QX_UTILS::kDigestBytes];
  QX_UTILS::md5sum("digest", digest);
  return digest;
}

// An index of entries written "NAME:CONTENTS" and lines of any other kind.
std::string index(const std::string& entries) {
  std::istringstream words(entries);
  std::string text, word;
  while (words >> word) {
    const std::size_t colon = word.find(':');
    text += colon == std::string::npos
                ? word + "\n"
                : "+ " + digestOf(word.substr(colon + 1)) + " " + word.substr(0, colon) + " 10\n";
  }
  return text;
}

class BdParts : public Installation {
 protected:
  BdParts() {
    log.Start(nullptr);
    configureUpdater(nullptr);
  }
  ~BdParts() override { DownCancelled = false; }

  int configureUpdater(const char* backupPath) {
    return updater.setValues(
        &log, bases.c_str(), temp.c_str(), backupPath, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
  }

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

TEST_F(BdParts, CleansLines) {
  const Strings trimmed[] = {{"  a b  ", "a b"}, {"\ta ", "\ta"}, {"   ", "   "}, {"", ""}};
  for (const Strings& c : trimmed) EXPECT_EQ(QX_UTILS::strtrim(c[0]), c[1]);
  const Strings chopped[] = {
      {"line\r\n", "line"}, {"line\n\r", "line\n"}, {"line\n\n", "line"}, {"\n", "\n"}, {"\r\r", "\r\r"}, {"", ""}};
  for (const Strings& c : chopped) EXPECT_EQ(QX_UTILS::strchop(c[0]), c[1]);
}

TEST_F(BdParts, ReadsTheIndex) {
  const std::string x(1011, 'x');
  const struct {
    std::string text, entries;
  } cases[] = {{"+ x abc f 12", "f abc 12;"}, {"+x abc f 12kb\r\n  + y d Plugins/g -3  \n", "f abc 12;Plugins/g d -3;"},
      {"+ x abc f 0\n+ x abc f none\n+ x abc  f 12\n+abc f 12\n- x abc f 12\n+ x  abc f  \n\n<html>", ""},
      {"+ x  f 12\n+ x abc g 7\n+ x abc g 7", "g abc 7;g abc 7;"}, {"+ a b c 99999999999", "c b 2147483647;"},
      {"+ a b " + x + "x 123\n+ a b c 1", x + "x b 123;c b 1;"}, {"+ a b " + x + "xx 123\n+ a b c 1", x + "xx b 12;"}};
  for (const auto& c : cases) {
    writeFile("i", c.text);
    std::vector<__QX_AvEntry> list(3);
    const int count = QX_BDUpdater::GetDownloadList("i", list);
    std::ostringstream entries;
    for (const __QX_AvEntry& e : list) entries << e.fileName << " " << e.md5 << " " << e.size << ";";
    EXPECT_EQ(entries.str(), c.entries);
    EXPECT_EQ(count, static_cast<int>(list.size()));
    EXPECT_EQ(QX_BDUpdater::GetDownloadList("/no/such", list), -1);
    EXPECT_EQ(count, static_cast<int>(list.size()));
  }
}

TEST_F(BdParts, FetchesWhatDiffers) {
  const std::string unreadable = "LOG: Error getting md5sum of file (" + bases + "/f)\n";
  std::string upper = index("f:a");
  for (char& c : upper) c = static_cast<char>(c == ' ' || c == 'f' ? c : std::toupper(c));
  const struct {
    const char *name, *installed, *downloaded;
    Tree disk;  // a name ending in "/" is a directory
    int result;
    std::string names, logged;
  } cases[] = {{"missing", "f:a g:g", "f:a g:g", {{"g", "g"}}, 0, "f.gzip ", ""},
      {"changed", "f:a", "f:b", {{"f", "b"}}, 0, "f.gzip ", ""},
      {"damaged", "f:a", "f:a", {{"f", "x"}}, 0, "f.gzip ", ""}, {"whole", "f:a", "f:a", {{"f", "a"}}, 0, "", ""},
      {"unknown here", "g:g", "f:a", {{"f", "x"}}, 0, "", ""}, {"folder", "g:g", "P/f:a", {}, 0, "P/f.gzip ", ""},
      {"unreadable", "f:a f:a", "f:a", {{"f/x", ""}}, 0, "", unreadable + unreadable},
      {"listed twice here", "f:b f:a", "f:a", {{"f", "a"}}, 0, "f.gzip ", ""},
      {"listed twice there", "", "f:a f:a", {}, 0, "f.gzip f.gzip ", ""},
      {"no index, missing", "", "f:a", {}, 0, "f.gzip ", ""},
      {"no index, other", "", "f:a", {{"f", "x"}}, 0, "f.gzip ", ""},
      {"no index, whole", "", "f:a", {{"f", "a"}}, 0, "", ""},
      {"no index, unreadable", "", "f:a", {{"f/x", ""}}, 0, "", unreadable},
      {"upper-case digest", "", "UPPER", {{"f", "a"}}, 0, "f.gzip ", ""},
      {"a page", "f:a", "<html>", {{"f", "x"}}, 0, "", ""},
      {"parent", "", "f:a ../f:a", {}, -1, "", "LOG: Invalid file name (../f)\n"},
      {"absolute", "", "/f:a", {}, -1, "", "LOG: Invalid file name (/f)\n"}};
  for (const auto& c : cases) {
    log.Stop();
    writeFile("log", "");
    log.Start(nullptr);
    writeTree(bases, c.disk);
    writeFile("new", c.downloaded == std::string("UPPER") ? upper : index(c.downloaded));
    writeFile("old", index(c.installed));
    std::vector<__QX_AvEntry> changes;
    std::int32_t total = -7;
    EXPECT_EQ(updater.AddToDownload("new", *c.installed != '\0' ? "old" : nullptr, changes, &total), c.result)
        << c.name;
    std::string names;
    for (const __QX_AvEntry& e : changes) names += e.fileName + " ";
    EXPECT_EQ(names, c.names) << c.name;
    EXPECT_EQ(total, c.result < 0 ? -7 : static_cast<int>(changes.size()) * 10) << c.name;
    EXPECT_EQ(readFile("log"), c.logged) << c.name;
  }
  std::vector<__QX_AvEntry> changes;
  std::int32_t total = -7;
  EXPECT_EQ(updater.AddToDownload("none", nullptr, changes, &total), -1);
  EXPECT_EQ(updater.AddToDownload("new", "none", changes, &total), -1);
  DownCancelled = true;
  EXPECT_EQ(updater.AddToDownload("old", "old", changes, &total), 2);
  EXPECT_EQ(total, -7);
}

TEST_F(BdParts, MakesAndRemovesDirectories) {
  shell("rm -r " + bases + "; mkdir -p " + temp + "/avdowndir " + temp + "/avbackdir");
  EXPECT_EQ(updater.MakeDirs(), 0);
  for (const std::string& made : {bases + "/Plugins", temp + "/avdowndir1/Plugins"}) EXPECT_TRUE(exists(made)) << made;
  writeFile(bases + "/f", "old");
  EXPECT_EQ(updater.GetCurrentAVBackup(), 0);
  EXPECT_EQ(readTree(temp + "/avbackdir1"), (Tree{{"f", "old"}}));
  writeTree(bases, {{"f", "new"}, {"g", "new"}});
  EXPECT_EQ(updater.RevertCurrentBackup(), 0);
  EXPECT_EQ(readTree(bases), (Tree{{"f", "old"}, {"g", "new"}}));
  for (int times = 0; times < 2; ++times) EXPECT_EQ(updater.RemoveDirs(), 0);
  shell("test \"$(ls " + temp + ")\" = \"$(printf 'avbackdir\\navdowndir')\"");

  // A configured backup stays, without the scanner's cache.
  configureUpdater(backup.c_str());
  shell("rm -r " + bases + "/*; mkdir -p " + bases + "/Plugins; touch " + bases + "/Plugins/cache.000 " + bases + "/f");
  EXPECT_EQ(updater.MakeDirs(), 0);
  for (int times = 0; times < 2; ++times) EXPECT_EQ(updater.GetCurrentAVBackup(), 0) << "replaces an older copy";
  updater.RemoveDirs();
  EXPECT_EQ(readTree(backup), (Tree{{"f", ""}}));

  configureUpdater(nullptr);
  shell("cd " + temp + " && mkdir $(seq -f avbackdir%.0f 1 64)");
  EXPECT_EQ(updater.MakeDirs(), -1);
  configureUpdater(nullptr);
  shell("cd " + temp + " && mkdir $(seq -f avdowndir%.0f 1 64)");
  EXPECT_EQ(updater.MakeDirs(), -1);
  writeFile("f", "");
  EXPECT_EQ(updater.setValues(nullptr, "/b", "f/t", nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 9, 0, 3, "m"), -1);
  EXPECT_EQ(readFile("log"), "LOG: To many back dir at " + temp + "/avdowndir1. Delete unused and retry again\n" +
                                 "LOG: To many temp download dir at " + temp + ". Delete unused and retry again\n");
}

}  // namespace
