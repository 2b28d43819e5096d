#include <sstream>

#include "app/interrupt.h"
#include "engines/kav/kav_updater.h"
#include "tests/sandbox.h"

namespace {

std::string signatureLine(char c) {
  return std::string(58, c) + "\r\n";
}

// An index of entries written "NAME:SIGNATURE", the signature one character, or
// any text that holds a comma as it is.
std::string index(const std::string& entries) {
  std::istringstream words(entries);
  std::string text = "[bases]\r\n", word;
  while (words >> word) {
    const std::size_t colon = word.find(':');
    text += "B=" +
            (colon == std::string::npos ? word : word.substr(0, colon) + "," + std::string(58, word.back()) + ",10,") +
            "\r\n";
  }
  return text;
}

class KavParts : public Installation {
 protected:
  KavParts() {
    log.Start(nullptr);
    updater.setValues(&log, bases.c_str(), scratch.c_str(), nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "m");
  }
  ~KavParts() override { DownCancelled = false; }

  QX_AVUpdateLog log{"log"};
  QX_KAVUpdater updater;
};

TEST_F(KavParts, ReadsTheIndex) {
  const std::string x1020(1020, 'x');
  const struct {
    std::string text;
    Strings entries;
  } cases[] = {
      {"[info]\nV=5\n[bases]\n;c\nB1=d,S,1,x\n\nB2=u,S\n[bases]\nB4=w\n[other]\nB3=e", {"d,S,1,x", "u,S", "w"}},
      {"[bases]\r\nB=a\r\r\nB=b", {"a", "b"}}, {"  [bases]\n  B= a \n\tB=c\n   \n=a=b", {" a ", "c", "a=b"}},
      {"[Bases]\nB=a\n[bases] \nB=a\n<html>a=b</html>", {}},
      {"[bases]\nB=" + x1020 + "\nB=a", {x1020, "a"}},  // a line of 1022
      {"[bases]\nB=" + x1020 + "y\nB=a", {x1020}},      // of 1023: the last one
  };
  for (const auto& c : cases) {
    writeFile("i", c.text);
    Strings list{"old"};
    EXPECT_EQ(QX_KAVUpdater::GetDownloadList("i", list), static_cast<int>(c.entries.size()));
    EXPECT_EQ(list, c.entries) << c.text;
    EXPECT_EQ(QX_KAVUpdater::GetDownloadList("/no/such", list), -1);
    EXPECT_EQ(list, c.entries);
  }
}

TEST_F(KavParts, ReadsFields) {
  const std::string s99(99, 's');
  const struct {
    std::string entry, name, sign;  // "-": missing
    int size;
  } cases[] = {
      {"daily.avc,SIG1,1200,x", "daily.avc", "SIG1", 1200}, {"daily.avc,SIG1,1200", "daily.avc", "SIG1", -1},
      {"a,,x,", "a", "", 0}, {"a,b,-5,", "a", "b", -5}, {",b,5,", "", "b", 5}, {"a,b", "a", "-", -1},
      {"noext", "-", "-", -1}, {"a,b,99999999999,", "a", "b", INT32_MAX}, {s99 + "," + s99 + ",7,", s99, s99, 7},
      {s99 + "s," + s99 + "s,7,", "-", "-", 7},
      {s99 + "," + s99 + "," + std::string(56, '0') + ",", s99, s99, -1},  // 256 characters
  };
  for (const auto& c : cases) {
    char name[QX_KAVUpdater::kFieldBytes] = "-", sign[QX_KAVUpdater::kFieldBytes] = "-";
    EXPECT_EQ(QX_KAVUpdater::getFname(c.entry.c_str(), name), c.name == "-" ? -1 : 0);
    EXPECT_EQ(QX_KAVUpdater::getSign(c.entry.c_str(), sign), c.sign == "-" ? -1 : 0);
    EXPECT_EQ(name + std::string(" ") + sign, c.name + " " + c.sign);
    EXPECT_EQ(QX_KAVUpdater::getSize(c.entry.c_str()), c.size) << c.entry;
  }
}

TEST_F(KavParts, ReadsSignatureLines) {
  const struct {
    std::string text, line;  // "-": unreadable
  } cases[] = {
      {std::string(40, '.') + signatureLine('a'), std::string(58, 'a')},
      {signatureLine('a'), std::string(58, 'a')},
      {"data\n" + std::string(30, 'b') + "\r\n" + std::string(40, 'c') + "\r\n", std::string(16, 'b')},
      {"short\r\nx\r\n", "short"},
      {std::string(80, 'x'), std::string(58, 'x')},
      {"\r\n", ""},
      {"\n", "-"},
      {"", "-"},
  };
  for (const auto& c : cases) {
    writeFile("f", c.text);
    char line[QX_KAVUpdater::kSignatureLineBytes] = "-";
    EXPECT_EQ(QX_KAVUpdater::getFileSig("f", line), c.line == "-" ? -1 : 0);
    EXPECT_EQ(line, c.line);
    EXPECT_EQ(QX_KAVUpdater::getFileSig(scratch.c_str(), line), -1) << "a directory";
  }
}

TEST_F(KavParts, ComparesIndexes) {
  const std::string installed = bases + "/avp.klb";
  EXPECT_EQ(updater.matchAvpKlb("new"), QX_KAVUpdater::IndexMissing);
  writeFile(installed, signatureLine('a'));
  EXPECT_EQ(updater.matchAvpKlb("new"), -1);
  EXPECT_EQ(readFile("log"), "KLOG: Error getting downloaded file(new) signature\n");
  writeFile("new", signatureLine('b'));
  EXPECT_EQ(updater.matchAvpKlb("new"), QX_KAVUpdater::IndexChanged);
  writeFile("new", "other" + signatureLine('a'));
  EXPECT_EQ(updater.matchAvpKlb("new"), QX_KAVUpdater::IndexUnchanged);
  writeFile(installed, "");
  EXPECT_EQ(updater.matchAvpKlb("new"), QX_KAVUpdater::IndexUnchanged);
}

TEST_F(KavParts, WorksOutTheChangeSet) {
  const std::string bad = "KLOG: Invalid signature or size (", unsafe = "KLOG: Invalid file name (";
  const struct {
    const char *name, *installed, *downloaded;
    Tree disk;
    int result, total;
    Strings names;
    std::string logged;
  } cases[] = {
      {"all is new", "", "a:a b:b noext", {}, 2, 20, {"a", "b"}, ""},
      {"files decide", "", "a:a b:b c:c", {{"a", signatureLine('a')}, {"b", signatureLine('x')}, {"c", ""}}, 2, 20,
          {"b", "c"}, ""},
      {"indexes decide", "a:a b:b g:g", "a:x b:b c:c d:d", {{"a", ""}, {"b", ""}, {"c", ""}}, 2, 20, {"a", "d"}, ""},
      {"listed twice", "a:x a:a", "a:x", {{"a", ""}}, 1, 10, {"a"}, ""},
      {"installed unsigned", "a a,", "a:a", {{"a", ""}}, -1, -7, {}, ""},
      {"no bases", "", "", {}, 0, 0, {}, ""},
      {"negative size", "", "a:a x,S,-5,", {}, -1, -7, {"a"}, bad + "x,S,-5,)\n"},
      {"one comma", "", "x,S", {}, -1, -7, {}, bad + "x,S)\n"},
      {"sizes that wrap", "", "a,S,2147483647, b,S,1,", {}, 2, INT32_MIN, {"a", "b"}, ""},
      {"unsafe before bad", "", "x,S,-5, a/../../x:x", {}, -1, -7, {}, unsafe + "a/../../x)\n"},
      {"empty name", "", "a:a :x", {}, -1, -7, {}, unsafe + ")\n"},
  };
  for (const auto& c : cases) {
    log.Stop();
    writeFile("log", "");
    log.Start(nullptr);
    writeTree(bases, c.disk);
    writeFile("new", index(c.downloaded));
    writeFile("old", index(c.installed));
    std::vector<std::int32_t> sizes;
    Strings names, signatures;
    std::int32_t total = -7;
    const char* const old = *c.installed != '\0' ? "old" : nullptr;
    EXPECT_EQ(updater.addToDownload("new", old, sizes, names, signatures, &total), c.result) << c.name;
    EXPECT_EQ(names, c.names) << c.name;
    EXPECT_EQ(sizes.size() + signatures.size(), 2 * names.size());
    EXPECT_EQ(total, c.total) << c.name;
    EXPECT_EQ(readFile("log"), c.logged) << c.name;
  }
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

}  // namespace
