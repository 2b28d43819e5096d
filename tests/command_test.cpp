// The command around an update: configuration, display, log, coordinator and lock.

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "app/display.h"
#include "app/interrupt.h"
#include "app/progress.h"
#include "app/update_command.h"
#include "config/ini_reader.h"
#include "tests/machine.h"
#include "update/coordinator.h"

namespace {

class IniReader : public Installation {
 protected:
  ~IniReader() override { sym_delete_table(table); }

  void load(const std::string& text) {
    sym_delete_table(table);
    writeFile("test.conf", text);
    table = ini_dyn_load(nullptr, "test.conf");
  }
  std::string value(const std::string& name) { return sym_get_value(table, name.c_str(), "(none)"); }

  SymbolTable* table = nullptr;
};

TEST_F(IniReader, ReadsValues) {
  setenv("HOME", "/home/x", 1);
  setenv("lower", "l", 1);
  eachCase("ini-values", [this](const Case& c) {
    load(c.at("text"));
    EXPECT_EQ(value(c.at("key")), c.at("value"));
  });
}

TEST_F(IniReader, FindsFilesOnPath) {
  writeFile("dated.conf", "[s]\nk=1");
  shell("TZ=UTC touch -d '2001-02-03 04:05:06' dated.conf");
  setenv("TZ", "UTC", 1);
  table = ini_dyn_load(nullptr, "dated.conf");
  EXPECT_EQ(value("filename") + value("filedate") + value("filetime"), "dated.conf200102034050600");
  const int size = table->size;
  EXPECT_EQ(ini_dyn_load(table, "no/such.conf"), table);
  // A socket is there and cannot be opened.
  const int server = socket(AF_UNIX, SOCK_STREAM, 0);
  const sockaddr_un here{AF_UNIX, "./socket"};
  ASSERT_EQ(bind(server, reinterpret_cast<const sockaddr*>(&here), sizeof here), 0);
  close(server);
  ini_dyn_load(table, "./socket");
  EXPECT_EQ(value("filename"), "./socket");
  EXPECT_EQ(table->size, size);

  const std::string path = std::getenv("PATH");
  writeFile("folder/other.conf", "[s]\nj=2");
  setenv("PATH", "/no/such::/var/Quorvex/scratch/folder", 1);
  ini_dyn_load(table, "other.conf");
  EXPECT_EQ(value("s:j") + value("filename"), "2other.conf");
  unsetenv("PATH");
  ini_dyn_load(table, "folder/other.conf");
  EXPECT_EQ(value("filename"), "other.conf");
  setenv("PATH", path.c_str(), 1);
}

TEST_F(IniReader, KeepsSymbolsInOrderOfNames) {
  load("[b]\nz=1\ny=2\n[a]");
  std::string names;
  for (const Symbol* s = table->symbols; s != nullptr; s = s->next) names += s->name + " ";
  EXPECT_EQ(names, "a b b:y b:z filedate filename filetime ");
}

std::string show(int event, const char* text, std::int64_t total, std::int64_t done, char* bar, int answer = 0) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(DisplayUpdate(event, text, total, done, bar), answer);
  return testing::internal::GetCapturedStdout();
}

TEST(Display, ShowsDotsWithoutABar) {
  std::string shown;
  for (const int event : {6, 8, 7, 0, 12}) shown += show(event, "a.avc", 2, 1, nullptr);
  EXPECT_EQ(shown, "\nDowloading a.avc.. done!\n");
}

TEST(Display, MovesTheBar) {
  char bar[kBarBytes] = {};
  eachCase("bar-steps", [&bar](const Case& c) {
    if (c.at("bar") == "new") show(4, "m", 0, 0, bar);
    EXPECT_EQ(show(8, "f", std::stol(c.at("total")), std::stol(c.at("done")), bar), c.at("line"));
  });
}

TEST(Display, AnswersCancelAfterAnInterrupt) {
  char bar[kBarBytes] = {};
  update_exit(15);
  EXPECT_TRUE(DownCancelled);
  for (int event = -1; event <= 12; ++event) EXPECT_EQ(show(event, "x", 1, 1, bar, ProgressCancel), "");
  TermExitScan = false;
  DownCancelled = false;
}

class Coordinator : public Installation {};

TEST_F(Coordinator, LogAppendsCutsAndRefuses) {
  writeFile("log", "before\n");
  QX_AVUpdateLog log("log");
  EXPECT_EQ(errorOf([&] { log.Log("x"); }), "Log not started");
  EXPECT_EQ(log.Start(nullptr), 0);
  EXPECT_EQ(log.Start("/no/other"), 0);
  EXPECT_EQ(log.Log("%s:%d\n", "a", 7), 4);
  EXPECT_EQ(log.Log("%s", ""), 0);
  EXPECT_EQ(log.Log("%2000s", "x"), 2000);
  const char* const none = nullptr;
  EXPECT_EQ(errorOf([&] { log.Log(none); }), "Invalid NULL log formate");
  EXPECT_EQ(readFile("log"), "before\na:7\n" + std::string(1022, ' '));
  log.Stop();
  EXPECT_EQ(log.Start("no/log"), -1);
  EXPECT_EQ(errorOf([] { QX_AVUpdateLog(nullptr).Start(nullptr); }), "Invalid NULL file Name");
}

TEST_F(Coordinator, LearnsTheEngineFromTheVersionFile) {
  eachCase("version-files", [](const Case& c) {
    writeFile("/opt/Quorvex/etc/qxav-ver", c.at("text"));
    EXPECT_EQ(std::to_string(QX_AVUpdate::QX_GetSystemType()), c.at("engine"));
  });
  shell("rm /opt/Quorvex/etc/qxav-ver");
  EXPECT_EQ(QX_AVUpdate::QX_GetSystemType(), 0);
}

TEST_F(Coordinator, SaysWhatIsWrongWithTheConfiguration) {
  eachCase("rejected-settings", [](const Case& c) {
    configure("ServerList=m\n" + c.at("settings"));
    writeFile(logFile, "");
    EXPECT_EQ(runUpdatenow().output, "Error: " + c.at("error") + "\n\n***ERR: Invalid AV database path\n");
    EXPECT_NE(readFile(logFile).find("\nUpdate parameters not set\n\nUnlocking update\n"), std::string::npos);
  });
}

TEST_F(Coordinator, RunsOnlyWithSettingsAndLock) {
  QX_AVUpdate updater;
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), "Invalid AV database path");
  updater.SetValues("/b", "/t", nullptr, 0, nullptr, 0, 0, nullptr, nullptr, 0, 5, 2, "ftp://x");
  EXPECT_EQ(errorOf([&] { updater.SetValues(nullptr, "/t", "", 0, "", 0, 0, "", "", 0, 5, 2, ""); }),
      "Invalid AV database path");
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), "Update lock not acquired")
      << "the rejected call kept the settings";
  EXPECT_EQ(errorOf([&] { updater.UnLockUpdate(); }), "Update lock not acquired");
  updater.LockUpdate(nullptr);
  EXPECT_EQ(readFile(lockFile), "Unknown Process:" + std::to_string(getpid()));
  EXPECT_EQ(updater.UpdateNow(nullptr, nullptr), -1) << "no usable server";
  EXPECT_EQ(errorOf([&] { updater.LockUpdate("x"); }), "Update operation already locked");
  EXPECT_EQ(updater.UnLockUpdate(), 0);
  EXPECT_FALSE(exists(lockFile));
  EXPECT_EQ(getValues(nullptr, mainConfig.c_str(), &updater), -1);
  EXPECT_EQ(getValues(updateConfig.c_str(), nullptr, &updater), -1);
  EXPECT_EQ(getValues(updateConfig.c_str(), mainConfig.c_str(), nullptr), -1);
  EXPECT_EQ(UpdateVirus(nullptr), -1);
}

TEST_F(Coordinator, JudgesALockFileByItsProcess) {
  const std::string me = "me:" + std::to_string(getpid());
  const auto judge = [&](const Case& c) {
    const std::string& owner = c.at("owner");
    writeFile(logFile, "");
    writeFile(lockFile, c.at("text"));
    {
      QX_AVUpdate updater;
      EXPECT_EQ(errorOf([&] { updater.LockUpdate("me"); }), owner.empty() ? "" : "Update operation already locked");
      EXPECT_EQ(readFile(lockFile), owner.empty() ? me : c.at("text"));
      EXPECT_EQ(readFile(logFile),
          owner.empty() ? "Update locked by " + me + "\n" : "Update is already in progress by " + owner + "\n");
    }
    EXPECT_EQ(exists(lockFile), !owner.empty());
  };
  eachCase("lock-files", judge, {{"live", std::to_string(getppid())}});
}

bool slowToWrite = false;

// However long it takes between the look at the lock file and its writing.
TEST_F(Coordinator, OneOfManyHasTheLock) {
  slowToWrite = true;
  for (const char* stale : {"", "me:999999999"}) {
    shell("rm -f " + lockFile);
    if (*stale != '\0') writeFile(lockFile, stale);
    std::vector<pid_t> others;
    int locked = 0, judged[2], ends[2];
    ASSERT_EQ(pipe(judged) + pipe(ends), 0);
    for (int i = 0; i < 8; ++i) {
      others.push_back(fork());
      if (others.back() != 0) continue;
      close(ends[1]);
      QX_AVUpdate updater;
      char answer = errorOf([&] { updater.LockUpdate("me"); }).empty() ? 1 : 0;
      std::ignore = write(judged[1], &answer, 1);
      std::ignore = read(ends[0], &answer, 1);
      _exit(0);
    }
    for (std::size_t i = 0; i < others.size(); ++i)
      if (char answer = 0; read(judged[0], &answer, 1) == 1) locked += answer;
    for (const int end : {ends[0], ends[1], judged[0], judged[1]}) close(end);
    for (const pid_t other : others) waitpid(other, nullptr, 0);
    EXPECT_EQ(locked, 1);
  }
  slowToWrite = false;
}

}  // namespace

// Stands in for the C library's, in the parts of the program that are linked in here.
extern "C" std::FILE* fopen(const char* path, const char* mode) {
  static const auto real = reinterpret_cast<decltype(&fopen)>(dlsym(RTLD_NEXT, "fopen"));
  if (slowToWrite && path == lockFile && mode[0] == 'w') usleep(30000);
  return real(path, mode);
}
