#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

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
  eachCase("ini-values", [this](const Case& c) {
    sym_delete_table(table);
    table = nullptr;
    load(c.at("text"));
    EXPECT_EQ(value(c.at("key")), c.at("value"));
  });
}

TEST_F(IniReader, FindsFilesOnPath) {
  load("[s]\nk=1");
  EXPECT_EQ(value("filename"), scratch + "/test.conf");
  EXPECT_EQ(value("filedate").size(), 8U);
  const int size = table->size;

  EXPECT_EQ(ini_dyn_load(table, "no/such.conf"), table);
  EXPECT_EQ(table->size, size);

  writeFile(scratch + "/other.conf", "[s]\nj=2");
  // A socket is there and cannot be opened.
  const int server = socket(AF_UNIX, SOCK_STREAM, 0);
  const sockaddr_un here{AF_UNIX, "./socket"};
  ASSERT_EQ(bind(server, reinterpret_cast<const sockaddr*>(&here), sizeof here), 0);
  close(server);
  ini_dyn_load(table, "./socket");
  EXPECT_EQ(value("filename"), "./socket");
  EXPECT_EQ(table->size, size);

  const char* const path = std::getenv("PATH");
  const std::string kept = path != nullptr ? path : "";
  setenv("PATH", ("/no/such::" + scratch).c_str(), 1);
  ini_dyn_load(table, "other.conf");
  EXPECT_EQ(value("s:j"), "2");
  EXPECT_EQ(value("filename"), "other.conf");

  unsetenv("PATH");
  writeFile(scratch + "/third.conf", "[s]\ni=3");
  ini_dyn_load(table, (scratch + "/third.conf").c_str());
  EXPECT_EQ(value("s:i"), "(none)");
  setenv("PATH", kept.c_str(), 1);
}

TEST_F(IniReader, KeepsSymbolsInOrderOfNames) {
  load("[b]\nz=1\ny=2\n[a]");
  std::string names;
  for (const Symbol* s = table->symbols; s != nullptr; s = s->next) names += s->name + " ";
  EXPECT_EQ(names, "a b b:y b:z filedate filename filetime ");
}

}  // namespace
