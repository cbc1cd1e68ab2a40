#include "tests/support/child_process.h"

#include <gtest/gtest.h>

#include <cstdlib>

ZARN_CHILD_ROLE(exit_with) { return std::atoi(args.at(0).c_str()); }

ZARN_CHILD_ROLE(sleep_forever) {
  Sleep(INFINITE);
  return 0;
}

using zarn::test::ChildProcess;

TEST(ChildProcess, RoleRunsInAnotherProcessAndReportsItsExitCode) {
  ChildProcess child = ChildProcess::startRole("exit_with", {"42"});
  ASSERT_TRUE(child.valid());
  EXPECT_NE(child.pid(), GetCurrentProcessId());
  EXPECT_EQ(child.wait(10000), 42u);
}

TEST(ChildProcess, WaitRunsOutOnAHangingChildWhichKillEnds) {
  ChildProcess child = ChildProcess::startRole("sleep_forever");
  ASSERT_TRUE(child.valid());
  EXPECT_FALSE(child.wait(100).has_value());
  child.kill();
  EXPECT_FALSE(child.running());
  EXPECT_EQ(child.wait(0), 99u);
}

TEST(ChildProcess, UnknownProgramGivesNoChild) {
  EXPECT_FALSE(ChildProcess::startSibling(L"no-such-program.exe").valid());
}
