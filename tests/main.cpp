// The test program: moves itself into a private view of this machine, where the
// installation's fixed paths are its own, then runs the tests.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/tables.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const auto& file : std::filesystem::directory_iterator(SOURCE_DIR "/tests/cases")) registerTable(file.path());
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  // A name with ":" or "-" is no filter for itself.
  if (std::getenv("UPDATENOW_TESTS_PRIVATE") != nullptr)
    return RUN_ALL_TESTS() != 0 || testing::UnitTest::GetInstance()->test_to_run_count() == 0;
  setenv("UPDATENOW_TESTS_PRIVATE", "1", 1);
  // The flags were taken out of argv; they travel in the environment.
  setenv("GTEST_FILTER", testing::GTEST_FLAG(filter).c_str(), 1);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  execl(SOURCE_DIR "/scripts/private-root", "private-root", self.c_str(), nullptr);
  std::perror("private-root");
  return 1;
}
