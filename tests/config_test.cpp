#include <cstdlib>

#include "config/ini_reader.h"
#include "tests/sandbox.h"

namespace {

class IniReader : public Installation {
 protected:
  ~IniReader() override { sym_delete_table(table); }

  void load(const std::string& text) {
    writeFile(scratch + "/test.conf", text);
    table = ini_dyn_load(table, (scratch + "/test.conf").c_str());
  }
  std::string value(const std::string& name) { return sym_get_value(table, name.c_str(), "(none)"); }

  SymbolTable* table = nullptr;
};

TEST_F(IniReader, ReadsValues) {
  setenv("HOME", "/home/x", 1);
  const std::string v1022(1022, 'v');
  const std::string s1020(1020, 's');
  const struct {
    const char* name;
    std::string text;
    std::string key;
    std::string value;
  } cases[] = {
      {"blanks and remark", "[Update]\nProxyPort = 8080 ; company", "Update:ProxyPort", "8080"},
      {"names keep their case", "[update]\nk=v", "Update:k", "(none)"},
      {"no section yet", "k=v\n[s]\n", "none:k", "(none)"},
      {"a section called none", "[none]\nk=v", "none:k", "v"},
      {"number sign ends a value", "[s]\nk=a#b", "s:k", "a"},
      {"quoted keeps both", "[s]\nk=\"a;b#c\" ; remark", "s:k", "a;b#c"},
      {"escapes", "[s]\nk=\"a\\\"b\\\\c\\xd\\ne\"", "s:k", "a\"b\\cxd\ne"},
      {"continuation keeps leading blanks", "[s]\nk=\"a-\n  b\"", "s:k", "a  b"},
      {"continuation at the end of the file", "[s]\nk=\"a b-", "s:k", "a "},
      {"no continuation without a quote", "[s]\nk=a-\nb=c", "s:k", "a-"},
      {"quote never closed", "[s]\nk=\"abc", "s:k", "ab"},
      {"only a quote", "[s]\nk=\"", "s:k", ""},
      {"environment", "[s]\nk=$(HOME)/b$(home)$(NO_SUCH)$x$(", "s:k", "/home/x/b$x$("},
      {"last one wins", "[s]\nk=1\nk=2", "s:k", "2"},
      {"name looked for is trimmed", "[s]\nk=1", " s:k\t", "1"},
      {"comments", "[s]\n ;k=1\n #k=2\n !k=3", "s:k", "(none)"},
      {"key line before section line", "[s]\n[a=b]", "s:[a", "b]"},
      {"section without its bracket", "[ s \nk=v", " s :k", "(none)"},
      {"inner blanks of a section", "[a b]\nk=v", "a b:k", "v"},
      {"empty section name", "[]\nk=v", ":k", "v"},
      {"no section after all", "[s]\n[]x\nk=v", "s:k", "v"},
      {"a section stores its name", "[s]\nk=v", "s", ""},
      {"which may replace a value", "[s]\nk=v\n[s:k]", "s:k", ""},
      {"carriage returns and tabs", "[s]\r\n\tk\t=\tv\r\n", "s:k", "v"},
      {"tab stops", "[s]\nk=a\tb", "s:k", "a     b"},
      {"control-Z ends a line only", "[s]\x1ak=1\x1aj=2", "s:j", "2"},
      {"line of 1024", "[s]\nk=" + v1022 + "\nj=1", "s:k", v1022},
      {"cut line goes on as the next", "[s]\nk=" + v1022 + "j=1", "s:j", "1"},
      {"joined line is cut as well", "[s]\nk=\"-\n" + v1022.substr(1) + "j=1", "s:j", "1"},
      {"name of 1024", "[" + s1020 + "]\nkey=v", s1020 + ":key", "v"},
      {"name of 1025 is left out", "[" + s1020 + "]\nkeyy=v", s1020 + ":keyy", "(none)"},
  };
  for (const auto& c : cases) {
    sym_delete_table(table);
    table = nullptr;
    load(c.text);
    EXPECT_EQ(value(c.key), c.value) << c.name;
  }
}

TEST_F(IniReader, FindsFilesOnPath) {
  load("[s]\nk=1");
  EXPECT_EQ(value("filename"), scratch + "/test.conf");
  EXPECT_EQ(value("filedate").size(), 8U);
  const int size = table->size;

  EXPECT_EQ(ini_dyn_load(table, "no/such.conf"), table);
  EXPECT_EQ(table->size, size);

  writeFile(scratch + "/other.conf", "[s]\nj=2");
  const std::string path = std::getenv("PATH");
  setenv("PATH", ("/no/such::" + scratch).c_str(), 1);
  ini_dyn_load(table, "other.conf");
  EXPECT_EQ(value("s:j"), "2");
  EXPECT_EQ(value("filename"), "other.conf");

  unsetenv("PATH");
  writeFile(scratch + "/third.conf", "[s]\ni=3");
  ini_dyn_load(table, (scratch + "/third.conf").c_str());
  EXPECT_EQ(value("s:i"), "(none)");
  setenv("PATH", path.c_str(), 1);
}

TEST_F(IniReader, KeepsSymbolsInOrderOfNames) {
  load("[b]\nz=1\ny=2\n[a]");
  std::string names;
  for (const Symbol* s = table->symbols; s != nullptr; s = s->next) names += s->name + " ";
  EXPECT_EQ(names, "a b b:y b:z filedate filename filetime ");
}

}  // namespace
