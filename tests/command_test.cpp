// The command around an update: configuration, display, log, coordinator and lock.

#include <unistd.h>

#include <cstdlib>

#include "app/display.h"
#include "app/interrupt.h"
#include "app/progress.h"
#include "app/update_command.h"
#include "config/ini_reader.h"
#include "tests/functions.h"
#include "update/coordinator.h"
#include "update/paths.h"

namespace {

const Function ini("ini", [](const Strings& c) {
  setenv("HOME", "/home/x", 1);
  setenv("lower", "l", 1);
  setenv("QUOTED", "\"a\\nb\"", 1);
  SymbolTable* const table = ini_dyn_load(nullptr, "test.conf");
  Strings values = wordsOf(c.at(0));
  for (std::string& value : values) value = sym_get_value(table, value.c_str(), "-");
  sym_delete_table(table);
  return joined(values, "~");
});

const Function display("display", [](const Strings& c) {
  char bar[kBarBytes] = {};
  std::string told;
  if (c.at(0) == "interrupted") update_exit(15);
  for (const std::string& event : wordsOf(c.at(1))) {
    const Strings numbers = wordsOf(event, ',');
    testing::internal::CaptureStdout();
    const int answer = DisplayUpdate(std::stoi(numbers.at(0)), "f", std::stol(numbers.at(1)),
                                     std::stol(numbers.at(2)), c.at(0) == "dots" ? nullptr : bar);
    told += std::to_string(answer) + testing::internal::GetCapturedStdout();
  }
  return told;
});

const Function version("version", [](const Strings& c) {
  writeFile("/opt/Quorvex/etc/qxav-ver", c.at(0));
  if (c.at(0).empty()) shell("rm /opt/Quorvex/etc/qxav-ver");
  return std::to_string(QX_AVUpdate::QX_GetSystemType());
});

std::string errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const QX_AVUpdateExceptions& error) {
    return error.detail();
  } catch (const char* message) {
    return message;
  }
  return "";
}

// What comes of taking the lock beside a lock file: the error, the log, the lock file. LIVE and
// ME are processes.
const Function lock("lock", [](const Strings& c) {
  const std::string live = std::to_string(getppid());
  writeFile(kLockFile, replaced(c.at(0), "LIVE", live));
  std::remove(kUpdateLog);
  QX_AVUpdate updater;
  const std::string error = errorOf([&] { updater.LockUpdate("me"); });
  const std::string told = error + "~" + readFile(kUpdateLog) + "~" + readFile(kLockFile);
  return replaced(replaced(told, "me:" + std::to_string(getpid()), "ME"), live, "LIVE");
});

struct Watcher {
  int stopsAt;  // the event that is answered with "stop", or, as -N, interrupted
  int count = 0;
  std::string told;
};

int watch(int event, const char* text, std::int64_t total, std::int64_t done, void* data) {
  auto& [stopsAt, count, told] = *static_cast<Watcher*>(data);
  told += " " + std::to_string(event) + (text != nullptr ? text : "");
  if (total != 0 || done != 0) told += ":" + std::to_string(done) + "/" + std::to_string(total);
  if (++count == -stopsAt) DownCancelled = true;
  return count == stopsAt ? ProgressCancel : 0;
}

const Function events("events", [](const Strings& c) {
  Watcher watcher{std::stoi(c.at(0)), 0, ""};
  QX_AVUpdate updater;
  getValues(kUpdateConfig, kMainConfig, &updater);
  updater.LockUpdate("me");
  DownCancelled = true;  // by an interrupt of before
  return std::to_string(updater.UpdateNow(watch, &watcher)) + watcher.told;
});

using Command = OnMachine;

TEST_F(Command, FindsConfigurationsOnPath) {
  setenv("TZ", "UTC", 1);
  shell("mkdir folder");
  writeFile("folder/dated.conf", "[b]\nz=1\ny=2\n[a]");
  shell("touch -d '2001-02-03 04:05:06' folder/dated.conf");
  setenv("PATH", "/no/such::/var/Quorvex/scratch/folder", 1);
  SymbolTable* const table = ini_dyn_load(nullptr, "dated.conf");
  unsetenv("PATH");
  EXPECT_EQ(ini_dyn_load(table, "folder/dated.conf"), table);
  setenv("PATH", "/usr/local/bin:/usr/bin:/bin", 1);
  EXPECT_EQ(ini_dyn_load(table, "no/such.conf"), table);
  std::string symbols;
  for (const Symbol* s = table->symbols; s != nullptr; s = s->next)
    symbols += s->name + "=" + s->value + " ";
  EXPECT_EQ(symbols, "a= b= b:y=2 b:z=1 filedate=20010203 filename=dated.conf filetime=4050600 ");
  sym_delete_table(table);
}

TEST_F(Command, LogAppendsCutsAndRefuses) {
  writeFile("log", "before\n");
  QX_AVUpdateLog log("log");
  EXPECT_EQ(errorOf([&] { log.Log("x"); }), "Log not started");
  EXPECT_EQ(log.Start(nullptr) + log.Start("/no/other"), 0);
  EXPECT_EQ(log.Log("%s:%d\n", "a", 7) + log.Log("%s", "") + log.Log("%2000s", "x"), 2004);
  const char* const none = nullptr;
  EXPECT_EQ(errorOf([&] { log.Log(none); }), "Invalid NULL log formate");
  EXPECT_EQ(readFile("log"), "before\na:7\n" + std::string(1022, ' '));
  log.Stop();
  EXPECT_EQ(log.Start(nullptr), 0);
  EXPECT_EQ(QX_AVUpdateLog("log").Start("no/log"), -1);
  EXPECT_EQ(errorOf([] { QX_AVUpdateLog(nullptr).Start(nullptr); }), "Invalid NULL file Name");
}

TEST_F(Command, RunsOnlyWithSettingsAndLock) {
  QX_AVUpdate updater;
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), "Invalid AV database path");
  EXPECT_EQ(errorOf([] { throw QX_AVUpdateExceptions(8); }),
            "Invalid proxy server authrasiation parameters");
  updater.SetValues("/b", "/t", nullptr, 0, nullptr, 0, 0, nullptr, nullptr, 0, 5, 2, "ftp://x");
  EXPECT_EQ(
      errorOf([&] { updater.SetValues(nullptr, "/t", "", 0, "", 0, 0, "", "", 0, 5, 2, ""); }),
      "Invalid AV database path");
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), "Update lock not acquired");
  updater.LockUpdate(nullptr);
  EXPECT_EQ(readFile(kLockFile), "Unknown Process:" + std::to_string(getpid()));
  EXPECT_EQ(updater.UpdateNow(nullptr, nullptr), -1) << "no usable server";
  EXPECT_EQ(errorOf([&] { updater.LockUpdate("x"); }), "Update operation already locked");
  EXPECT_EQ(updater.UnLockUpdate(), 0);
  EXPECT_EQ(access(kLockFile, F_OK), -1);
  EXPECT_EQ(errorOf([&] { updater.UnLockUpdate(); }), "Update lock not acquired");
  EXPECT_EQ(
      getValues(nullptr, kMainConfig, &updater) + UpdateVirus(nullptr) + UpdateVirus(&updater), -3);
}

}  // namespace
