#include "update/coordinator.h"

#include <unistd.h>

#include <functional>

#include "tests/sandbox.h"
#include "update/update_errors.h"

namespace {

int errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const QX_AVUpdateExceptions& error) {
    return error.type();
  }
  return 0;
}

std::string messageOf(const std::function<void()>& action) {
  try {
    action();
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
  EXPECT_EQ(messageOf([&] { log.Log("x"); }), "Log not started");
  EXPECT_EQ(writeLog(&log, "x"), 0);
  EXPECT_EQ(log.Start(nullptr), 0);
  EXPECT_EQ(log.Start("/no/other"), 0);
  EXPECT_EQ(log.Log("%s:%d\n", "a", 7), 4);
  EXPECT_EQ(log.Log("%s", ""), 0);
  EXPECT_EQ(log.Log("%2000s", "x"), 2000);
  const char* const none = nullptr;
  EXPECT_EQ(messageOf([&] { log.Log(none); }), "Invalid NULL log formate");
  EXPECT_EQ(readFile(path), "before\na:7\n" + std::string(1022, ' '));
  log.Stop();
  EXPECT_EQ(log.Start((scratch + "/no/log").c_str()), -1);
  EXPECT_EQ(messageOf([] { QX_AVUpdateLog(nullptr).Start(nullptr); }), "Invalid NULL file Name");
}

class Coordinator : public Installation {
 protected:
  static void setGoodValues(QX_AVUpdate& updater) {
    updater.SetValues("/b", "/t", nullptr, 0, nullptr, 0, 0, nullptr, nullptr, 0, 5, 2, "ftp://x");
  }
};

TEST_F(Coordinator, LearnsTheEngineFromTheVersionFile) {
  eachCase("version-files", [](const Case& c) {
    writeFile("/opt/Quorvex/etc/qxav-ver", c["text"]);
    EXPECT_EQ(std::to_string(QX_AVUpdate::QX_GetSystemType()), c["engine"]);
  });
  shell("rm /opt/Quorvex/etc/qxav-ver");
  EXPECT_EQ(QX_AVUpdate::QX_GetSystemType(), 0);
  EXPECT_EQ(errorOf([] { QX_AVUpdate("/b", "/t", "", 0, nullptr, 0, 0, nullptr, nullptr, 0, 5, 2, "s"); }),
      QX_AVUpdateExceptions::ExceptionUnknownSystem);
}

TEST_F(Coordinator, RunsOnlyWithSettingsAndLock) {
  QX_AVUpdate updater;
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), QX_AVUpdateExceptions::ExceptionBasePath);
  setGoodValues(updater);
  EXPECT_EQ(errorOf([&] { updater.SetValues(nullptr, "/t", "", 0, "", 0, 0, "", "", 0, 5, 2, ""); }),
      QX_AVUpdateExceptions::ExceptionBasePath);
  EXPECT_EQ(errorOf([&] { updater.UpdateNow(nullptr, nullptr); }), QX_AVUpdateExceptions::ExceptionNotLocked)
      << "the rejected call kept the settings";
  EXPECT_EQ(errorOf([&] { updater.UnLockUpdate(); }), QX_AVUpdateExceptions::ExceptionNotLocked);
  updater.LockUpdate(nullptr);
  EXPECT_EQ(readFile(lockFile), "Unknown Process:" + std::to_string(getpid()));
  EXPECT_EQ(updater.UpdateNow(nullptr, nullptr), -1) << "no usable server";
  EXPECT_EQ(errorOf([&] { updater.LockUpdate("x"); }), QX_AVUpdateExceptions::ExceptionAlreadyLocked);
  EXPECT_EQ(updater.UnLockUpdate(), 0);
  EXPECT_FALSE(exists(lockFile));
  updater.LockUpdate("x");
}

TEST_F(Coordinator, JudgesALockFileByItsProcess) {
  const std::string me = "me:" + std::to_string(getpid());
  const auto judge = [&](const Case& c) {
    const std::string& owner = c["owner"];
    writeFile(logFile, "");
    writeFile(lockFile, c["text"]);
    {
      QX_AVUpdate updater;
      EXPECT_EQ(errorOf([&] { updater.LockUpdate("me"); }),
          owner.empty() ? 0 : QX_AVUpdateExceptions::ExceptionAlreadyLocked);
      EXPECT_EQ(readFile(lockFile), owner.empty() ? me : c["text"]);
      EXPECT_EQ(readFile(logFile),
          owner.empty() ? "Update locked by " + me + "\n" : "Update is already in progress by " + owner + "\n");
    }
    EXPECT_EQ(exists(lockFile), !owner.empty());
  };
  eachCase("lock-files", judge, {{"live", std::to_string(getppid())}});
}

}  // namespace
