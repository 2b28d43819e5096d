// The test program: moves itself into a private view of this machine, where the
// installation's fixed paths are its own, then runs the tests.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  if (std::getenv("UPDATENOW_TESTS_PRIVATE") == nullptr) {
    setenv("UPDATENOW_TESTS_PRIVATE", "1", 1);
    // The flags were taken out of argv; they travel in the environment.
    setenv("GTEST_FILTER", testing::GTEST_FLAG(filter).c_str(), 1);
    std::string script = SOURCE_DIR "/scripts/private-root";
    std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<char*> arguments{script.data(), self.data(), nullptr};
    execv(script.c_str(), arguments.data());
    std::perror(script.c_str());
    return 1;
  }
  return RUN_ALL_TESTS();
}
