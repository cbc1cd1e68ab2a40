#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"

// A test executable started as `--child <role> args...` runs that role instead of the tests.
int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--child") {
    return zarn::test::runChildRole(argv[2], std::vector<std::string>(argv + 3, argv + argc));
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
