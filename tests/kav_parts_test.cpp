#include <cstdlib>

#include "app/interrupt.h"
#include "engines/kav/kav_updater.h"
#include "tests/sandbox.h"

namespace {

using Strings = std::vector<std::string>;

std::vector<int> events;

int recordEvent(int event, const char*, std::int64_t, std::int64_t, void* answer) {
  events.push_back(event);
  return answer != nullptr && event == *static_cast<int*>(answer) ? ProgressCancel : 0;
}

std::string signatureOf(char c) {
  return std::string(58, c);
}

// A base of 100 bytes whose signature line consists of one character.
std::string base(char c) {
  return std::string(40, '.') + signatureOf(c) + "\r\n";
}

std::string entry(const std::string& name, char signature, const std::string& size = "100") {
  return "B=" + name + "," + signatureOf(signature) + "," + size + ",\r\n";
}

class KavParts : public Installation {
 protected:
  KavParts() {
    log.Start(nullptr);
    EXPECT_EQ(set(0, 0, "http://m"), 0);
  }
  ~KavParts() override { DownCancelled = false; }

  int set(unsigned char useProxy, unsigned char auth, const char* servers, const char* host = "p",
          unsigned int port = 3128, const char* user = "u") {
    return updater.setValues(&log, bases.c_str(), scratch.c_str(), nullptr, useProxy, auth, host,
                             port, user, "pw", 30, 0, 3, servers);
  }
  std::string logged() const { return readFile(scratch + "/log"); }

  QX_AVUpdateLog log{(scratch + "/log").c_str()};
  QX_KAVUpdater updater;
};

TEST_F(KavParts, SettingsExportTheProxyUntilReleased) {
  EXPECT_EQ(set(1, 0, "http://m"), 0);
  for (const char* name : {"ftp_proxy", "https_proxy", "http_proxy"})
    EXPECT_STREQ(std::getenv(name), "p:3128");
  EXPECT_EQ(updater.SetCallback(nullptr, nullptr), -1);
  EXPECT_EQ(updater.SetCallback(recordEvent, nullptr), 0);

  EXPECT_EQ(set(1, 0, "s", nullptr), -1);
  EXPECT_EQ(set(1, 0, "s", "p", 0), -1);
  EXPECT_EQ(set(0, 1, "s", "p", 1, nullptr), -1);
  EXPECT_EQ(set(1, 0, "s", std::string(60, 'h').c_str()), -1) << "an address of 65 characters";
  EXPECT_STREQ(std::getenv("http_proxy"), "p:3128") << "untouched by what was refused";
  updater.Dealloc();
  EXPECT_EQ(std::getenv("http_proxy"), nullptr);
  EXPECT_EQ(set(0, 0, "ftp://m,a/http://b"), -3);
  EXPECT_EQ(logged(), "KLOG: Invalid NULL callback function\n" +
                          std::string("KLOG: Invalid update arameters to set\n") +
                          "KLOG: Invalid update arameters to set\n"
                          "KLOG: Invalid update arameters to set\n"
                          "KLOG: Invalid update arameters to set\n"
                          "Invalid addr ftp://m\nInvalid addr a/http://b\n");
}

TEST_F(KavParts, DownloadTellsItsWatcher) {
  const std::string path = std::getenv("PATH");
  standIn("wget", "[ \"$NOTHING\" ] || echo x >\"$7\"");
  setenv("PATH", (scratch + "/bin:" + path).c_str(), 1);
  const struct {
    int cancelAt, result;
    std::vector<int> seen;
  } cases[] = {{0, 0, {6, 8, 7}}, {6, 2, {6}}, {8, 2, {6, 8}}, {7, 2, {6, 8, 7}}};
  for (auto c : cases) {
    events.clear();
    updater.SetCallback(recordEvent, &c.cancelAt);
    EXPECT_EQ(updater.DownloadFile("f", "http://m", 10, 1), c.result);
    EXPECT_EQ(events, c.seen);
  }
  events.clear();
  EXPECT_EQ(updater.DownloadFile("f", "http://m", 10, 0), 0);
  EXPECT_EQ(updater.DownloadFile(nullptr, "http://m", 10, 1), 0);
  EXPECT_EQ(updater.DownloadFile(std::string(1000, 'f').c_str(), "http://m", 10, 0), -1);
  setenv("NOTHING", "1", 1);
  EXPECT_EQ(updater.DownloadFile("g", "http://m", 10, 0), -1) << "no output";
  DownCancelled = true;
  EXPECT_EQ(updater.DownloadFile("g", "http://m", 10, 0), 2) << "a cancel comes before a failure";
  EXPECT_TRUE(events.empty());
  unsetenv("NOTHING");
  setenv("PATH", path.c_str(), 1);
}

TEST_F(KavParts, ReadsTheIndex) {
  const std::string longest = "B=" + std::string(1020, 'x');
  const struct {
    const char* name;
    std::string text;
    Strings entries;
  } cases[] = {
      {"sections",
       "[info]\nV=5\n[bases]\n;c\nB1=d,S,1,x\n\nB2=u,S,3,\n[bases]\nB4=w\n[other]\nB3=e,S,1,\n",
       {"d,S,1,x", "u,S,3,", "w"}},
      {"line ends", "[bases]\r\nB=a\r\r\nB=b", {"a", "b"}},
      {"blanks", "  [bases]\n  B= a \n\tB=c\n   \n", {" a ", "c"}},
      {"other header", "[Bases]\nB=a\n", {}},
      {"header with a blank", "[bases] \nB=a\n", {}},
      {"no entries", "<html>a=b</html>", {}},
      {"second equals sign", "[bases]\n=a=b\n", {"a=b"}},
      {"line of 1022", "[bases]\n" + longest + "\nB=a", {std::string(1020, 'x'), "a"}},
      {"line of 1023 is the last", "[bases]\n" + longest + "y\nB=a", {std::string(1020, 'x')}},
  };
  for (const auto& c : cases) {
    writeFile(scratch + "/i", c.text);
    Strings list{"old"};
    EXPECT_EQ(QX_KAVUpdater::GetDownloadList((scratch + "/i").c_str(), list),
              static_cast<int>(c.entries.size()));
    EXPECT_EQ(list, c.entries) << c.name;
  }
  Strings list{"old"};
  EXPECT_EQ(QX_KAVUpdater::GetDownloadList("/no/such", list), -1);
  EXPECT_EQ(list, Strings{"old"});
}

TEST_F(KavParts, ReadsFields) {
  const std::string s99(99, 's');
  const struct {
    std::string entry;
    const char *name, *sign;  // null: missing
    int size;
  } cases[] = {
      {"daily.avc,SIG1,1200,x", "daily.avc", "SIG1", 1200},
      {"daily.avc,SIG1,1200", "daily.avc", "SIG1", -1},
      {"a,,x,", "a", "", 0},
      {"a,b,-5,", "a", "b", -5},
      {",b,5,", "", "b", 5},
      {"a,b", "a", nullptr, -1},
      {"noext", nullptr, nullptr, -1},
      {s99 + "," + s99 + ",7,", s99.c_str(), s99.c_str(), 7},
      {s99 + "s," + s99 + "s,7,", nullptr, nullptr, 7},
      {s99 + "," + s99 + "," + std::string(56, '0') + ",", s99.c_str(), s99.c_str(), -1},
  };
  for (const auto& c : cases) {
    char field[QX_KAVUpdater::kFieldBytes] = "";
    EXPECT_EQ(QX_KAVUpdater::getFname(c.entry.c_str(), field), c.name != nullptr ? 0 : -1);
    EXPECT_STREQ(field, c.name != nullptr ? c.name : "");
    EXPECT_EQ(QX_KAVUpdater::getSign(c.entry.c_str(), field), c.sign != nullptr ? 0 : -1);
    EXPECT_STREQ(field, c.sign != nullptr ? c.sign : c.name != nullptr ? c.name : "");
    EXPECT_EQ(QX_KAVUpdater::getSize(c.entry.c_str()), c.size) << c.entry;
  }
}

TEST_F(KavParts, ReadsSignatureLines) {
  const struct {
    std::string text, line;
    int result;
  } cases[] = {
      {base('a'), signatureOf('a'), 0},
      {signatureOf('a') + "\r\n", signatureOf('a'), 0},
      {"data\n" + std::string(30, 'b') + "\r\n" + std::string(40, 'c') + "\r\n",
       std::string(16, 'b'), 0},
      {"short\r\nx\r\n", "short", 0},
      {std::string(80, 'x'), std::string(58, 'x'), 0},
      {"\r\n", "", 0},
      {"\n", "", -1},
      {"", "", -1},
  };
  for (const auto& c : cases) {
    writeFile(scratch + "/f", c.text);
    char line[QX_KAVUpdater::kSignatureLineBytes] = "";
    EXPECT_EQ(QX_KAVUpdater::getFileSig((scratch + "/f").c_str(), line), c.result);
    EXPECT_EQ(line, c.line);
  }
  char line[QX_KAVUpdater::kSignatureLineBytes];
  EXPECT_EQ(QX_KAVUpdater::getFileSig(scratch.c_str(), line), -1);
}

TEST_F(KavParts, ComparesIndexes) {
  const std::string downloaded = scratch + "/avp.klb";
  const std::string installed = bases + "/avp.klb";
  EXPECT_EQ(updater.matchAvpKlb(downloaded.c_str()), QX_KAVUpdater::IndexMissing);
  writeFile(installed, "[bases]\n" + base('a'));
  EXPECT_EQ(updater.matchAvpKlb(downloaded.c_str()), -1);
  EXPECT_EQ(logged(), "KLOG: Error getting downloaded file(" + downloaded + ") signature\n");
  writeFile(downloaded, base('b'));
  EXPECT_EQ(updater.matchAvpKlb(downloaded.c_str()), QX_KAVUpdater::IndexChanged);
  writeFile(downloaded, base('a'));
  EXPECT_EQ(updater.matchAvpKlb(downloaded.c_str()), QX_KAVUpdater::IndexUnchanged);
  writeFile(installed, "");
  EXPECT_EQ(updater.matchAvpKlb(downloaded.c_str()), QX_KAVUpdater::IndexUnchanged);
}

TEST_F(KavParts, WorksOutTheChangeSet) {
  const std::string older =
      entry("a", 'a') + entry("b", 'b') + entry("gone", 'g') + entry("../g", 'g');
  const std::string bad = "KLOG: Invalid signature or size (";
  const std::string unsafe = "KLOG: Invalid file name (";
  const struct {
    const char* name;
    std::string installed, downloaded;
    Tree disk;
    int result;
    Strings names;
    int total;
    std::string logged;
  } cases[] = {
      {"everything is new",
       "",
       entry("a", 'a') + entry("b", 'b') + "B=noext\n",
       {},
       2,
       {"a", "b"},
       200,
       ""},
      {"own signature lines decide",
       "",
       entry("a", 'a') + entry("b", 'b') + entry("c", 'c'),
       {{"a", base('a')}, {"b", base('x')}, {"c", ""}},
       2,
       {"b", "c"},
       200,
       ""},
      {"listed signatures decide",
       older,
       entry("a", 'x') + entry("b", 'b') + entry("c", 'c') + entry("d", 'd'),
       {{"a", base('x')}, {"b", base('x')}, {"c", base('x')}},
       2,
       {"a", "d"},
       200,
       ""},
      {"listed twice",
       entry("a", 'x') + entry("a", 'a'),
       entry("a", 'x'),
       {{"a", ""}},
       1,
       {"a"},
       100,
       ""},
      {"installed without a signature",
       "B=a\nB=a,\n",
       entry("a", 'a'),
       {{"a", ""}},
       -1,
       {},
       -7,
       ""},
      {"no bases", "", "", {}, 0, {}, 0, ""},
      {"negative size", "", entry("a", 'a') + "B=x,S,-5,\n", {}, -1, {"a"}, -7, bad + "x,S,-5,)\n"},
      {"one comma", "", "B=x,S\n", {}, -1, {}, -7, bad + "x,S)\n"},
      {"sizes that wrap",
       "",
       entry("a", 'a', "2147483647") + entry("b", 'b', "1"),
       {},
       2,
       {"a", "b"},
       INT32_MIN,
       ""},
      {"parent",
       "",
       entry("a", 'a') + "B=x,S,-5,\n" + entry("../x", 'x'),
       {},
       -1,
       {},
       -7,
       unsafe + "../x)\n"},
      {"absolute", "", entry("/etc/x", 'x'), {}, -1, {}, -7, unsafe + "/etc/x)\n"},
      {"empty", "", entry("", 'x'), {}, -1, {}, -7, unsafe + ")\n"},
  };
  for (const auto& c : cases) {
    shell("rm -rf " + bases + "/* " + scratch + "/log; mkdir -p " + bases);
    log.Stop();
    log.Start(nullptr);
    writeTree(bases, c.disk);
    writeFile(scratch + "/new", "[bases]\n" + c.downloaded);
    writeFile(scratch + "/old", "[bases]\n" + c.installed);
    std::vector<std::int32_t> sizes;
    Strings names, signatures;
    std::int32_t total = -7;
    EXPECT_EQ(updater.addToDownload((scratch + "/new").c_str(),
                                    c.installed.empty() ? nullptr : (scratch + "/old").c_str(),
                                    sizes, names, signatures, &total),
              c.result)
        << c.name;
    EXPECT_EQ(names, c.names) << c.name;
    EXPECT_EQ(sizes.size(), names.size());
    EXPECT_EQ(signatures.size(), names.size());
    EXPECT_EQ(total, c.total) << c.name;
    EXPECT_EQ(logged(), c.logged) << c.name;
  }

  writeFile(scratch + "/old", "[bases]\n" + older);
  writeFile(scratch + "/new", "[bases]\n" + entry("a", 'x'));
  const auto toDelete = [this](const char* from, const char* to, Strings& list) {
    return updater.addToDelete((scratch + from).c_str(), (scratch + to).c_str(), list);
  };
  Strings list;
  EXPECT_EQ(toDelete("/new", "/old", list), 2);
  EXPECT_EQ(list, (Strings{"b", "gone"}));
  EXPECT_EQ(toDelete("/old", "/old", list), 2) << "nothing appended";
  EXPECT_EQ(toDelete("/new", "/none", list), -1);
  EXPECT_EQ(updater.addToDelete(nullptr, "x", list), -1);
  DownCancelled = true;
  EXPECT_EQ(toDelete("/new", "/old", list), 2);
  EXPECT_EQ(list.size(), 2U);
}

}  // namespace
