#include "filter/vcam.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>

#include "filter/zarn_interfaces.h"
#include "tests/filter/held_filter.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

const wchar_t kStopEventName[] = L"ZARN_TEST_VCAM_STOP_HOLDER";

using VCamFilter = MixerRecord;

// Another host: runs its own filter, then stops when told.
ZARN_CHILD_ROLE(run_until_told) {
  HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, kStopEventName);
  {
    HeldFilter filter;
    filter->Run(0);
    std::printf("running\n");
    if (WaitForSingleObject(stop, 20000) != WAIT_OBJECT_0) return 3;
    filter->Stop();
  }
  CloseHandle(stop);
  return 0;
}

}  // namespace

TEST_F(VCamFilter, RunTakesTheCameraPauseNeitherTakesNorGivesItStopGivesBackOnlyItsOwnClaim) {
  HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, kStopEventName);
  HeldFilter first;
  ASSERT_EQ(first->Pause(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), 0u);
  ASSERT_EQ(first->Run(0), S_OK);
  ASSERT_EQ(first->Pause(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), GetCurrentProcessId());

  ChildProcess second = ChildProcess::startRole("run_until_told");
  ASSERT_TRUE(
      zarn::test::waitUntil(10000, [&] { return mixer.getOpeningProcessId() == second.pid(); }));

  EXPECT_EQ(first->Stop(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), second.pid());

  SetEvent(stop);
  EXPECT_EQ(second.wait(20000), 0u);
  EXPECT_EQ(mixer.getOpeningProcessId(), 0u);
  CloseHandle(stop);
}

TEST_F(VCamFilter, PinInterfacesReachThePinFromTheFilterButShareSampleDoesNot) {
  HeldFilter filter;
  IUnknown* part = nullptr;
  EXPECT_EQ(filter->QueryInterface(IID_IShareSampleInterface, reinterpret_cast<void**>(&part)),
            E_NOINTERFACE);
  for (const GUID& iid : {IID_IAMStreamConfig, IID_IKsPropertySet, IID_ICheckZarnCam,
                          IID_ICheckZarnCamUsingVideoEnhancements, IID_IZarnCamFrameRateControler,
                          IID_ISetOutputWidthHeight, IID_IZarnVCameraEx}) {
    ASSERT_EQ(filter->QueryInterface(iid, reinterpret_cast<void**>(&part)), S_OK);
    IPin* pin = nullptr;
    ASSERT_EQ(part->QueryInterface(IID_IPin, reinterpret_cast<void**>(&pin)), S_OK);
    EXPECT_EQ(pin, static_cast<IPin*>(filter->stream()));
    EXPECT_EQ(pin->QueryInterface(IID_IShareSampleInterface, reinterpret_cast<void**>(&part)), S_OK);
    part->Release();
    pin->Release();
    part->Release();
  }
}
