#include "host/process_identity.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

ZARN_CHILD_ROLE(idle) {
  Sleep(INFINITE);
  return 0;
}

TEST(ProcessIdentity, NamesALiveProcessAndForgetsItOnceKilled) {
  ChildProcess child = ChildProcess::startRole("idle");
  ASSERT_TRUE(child.valid());
  EXPECT_TRUE(isProcessRunning(child.pid()));
  EXPECT_EQ(getProcessNameByPid(child.pid()), L"host_test.exe");
  child.kill();
  EXPECT_FALSE(isProcessRunning(child.pid()));
  EXPECT_EQ(getProcessNameByPid(child.pid()), L"");
}
