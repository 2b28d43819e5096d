// The test program. scripts/private-root runs it: the installation's fixed paths are its own.

#include <cstdlib>
#include <filesystem>

#include "tests/tables.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (std::getenv("UPDATENOW_PRIVATE") == nullptr) return 1;
  for (const auto& file : std::filesystem::directory_iterator(SOURCE_DIR "/tests/cases"))
    registerTable(file.path());
  return RUN_ALL_TESTS() != 0 || testing::UnitTest::GetInstance()->test_to_run_count() == 0;
}
