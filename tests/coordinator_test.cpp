#include "update/coordinator.h"

#include <unistd.h>

#include <functional>

#include "app/update_command.h"
#include "tests/sandbox.h"
#include "update/update_errors.h"

namespace {

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

class Log : public Installation {};

TEST_F(Log, AppendsCutsAndRefuses) {
  const std::string path = scratch + "/log";
  writeFile(path, "before\n");
  QX_AVUpdateLog log(path.c_str());
  EXPECT_EQ(errorOf([&] { log.Log("x"); }), "Log not started");
  EXPECT_EQ(writeLog(&log, "x"), 0);
  EXPECT_EQ(log.Start(nullptr), 0);
  EXPECT_EQ(log.Start("/no/other"), 0);
  EXPECT_EQ(log.Log("%s:%d\n", "a", 7), 4);
  EXPECT_EQ(log.Log("%s", ""), 0);
  EXPECT_EQ(log.Log("%2000s", "x"), 2000);
  const char* const none = nullptr;
  EXPECT_EQ(errorOf([&] { log.Log(none); }), "Invalid NULL log formate");
  EXPECT_EQ(readFile(path), "before\na:7\n" + std::string(1022, ' '));
  log.Stop();
  EXPECT_EQ(log.Start((scratch + "/no/log").c_str()), -1);
  EXPECT_EQ(errorOf([] { QX_AVUpdateLog(nullptr).Start(nullptr); }), "Invalid NULL file Name");
}

class Coordinator : public Installation {};

TEST_F(Coordinator, LearnsTheEngineFromTheVersionFile) {
  eachCase("version-files", [](const Case& c) {
    writeFile("/opt/Quorvex/etc/qxav-ver", c.at("text"));
    EXPECT_EQ(std::to_string(QX_AVUpdate::QX_GetSystemType()), c.at("engine"));
  });
  shell("rm /opt/Quorvex/etc/qxav-ver");
  EXPECT_EQ(QX_AVUpdate::QX_GetSystemType(), 0);
  EXPECT_EQ(errorOf([] { QX_AVUpdate("/b", "/t", "", 0, nullptr, 0, 0, nullptr, nullptr, 0, 5, 2, "s"); }),
      "Unknow qxav installation");
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
  shell("rm -r /var/Quorvex/var/log");
  EXPECT_EQ(errorOf([&] { updater.LockUpdate("x"); }), "Log not started");
  EXPECT_EQ(updater.UpdateNow(nullptr, nullptr), -1) << "locked all the same";
}

TEST_F(Coordinator, CommandRefusesNullArguments) {
  QX_AVUpdate updater;
  configure("ServerList=m");
  EXPECT_EQ(getValues(nullptr, "/opt/Quorvex/etc/qxav.conf", &updater), -1);
  EXPECT_EQ(getValues("/opt/Quorvex/etc/updates.conf", nullptr, &updater), -1);
  EXPECT_EQ(getValues("/opt/Quorvex/etc/updates.conf", "/opt/Quorvex/etc/qxav.conf", nullptr), -1);
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

}  // namespace
