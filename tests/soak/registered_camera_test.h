#pragma once
// The built camera registered in the test's prefix for the length of each test, so that the
// probe finds it in the device list as any host would.
#include <gtest/gtest.h>

#include "tests/e2e/registered_module.h"
#include "tests/support/child_process.h"

namespace zarn::test {

class RegisteredCameraTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(m_module.result(), S_OK); }

  RegisteredModule m_module{executableFolder() + L"ZarnVirtualCam.ax"};
};

}  // namespace zarn::test
