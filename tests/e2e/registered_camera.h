#pragma once
// The built camera registered in the test's prefix for the length of each test, so that real
// hosts find it in the device list; unregistered again however the test ends.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "tests/support/child_process.h"

namespace zarn::test {

class RegisteredCameraTest : public ::testing::Test {
 protected:
  explicit RegisteredCameraTest(const std::wstring& module = executableFolder() + L"ZarnVirtualCam.ax");
  ~RegisteredCameraTest() override;
  void SetUp() override { ASSERT_EQ(m_registered, S_OK); }

 private:
  HRESULT call(const char* exportName) const;

  bool m_comStarted = false;
  HMODULE m_module = nullptr;
  HRESULT m_registered = E_FAIL;
};

// Whether the mixer's frame region exists, made by a writer and held by it or by a reader.
bool frameRegionExists();

// Starts the mixer or the hostile writer beside the test and waits, with a bound, until its frame
// region exists, so that a host that opens next finds it; stopped when it makes none.
ChildProcess startFrameWriter(const std::wstring& exeName, const std::wstring& arguments);

}  // namespace zarn::test
