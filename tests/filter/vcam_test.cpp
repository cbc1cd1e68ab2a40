#include "filter/vcam.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "filter/zarn_interfaces.h"
#include "tests/filter/held_filter.h"

namespace {

using VCamFilter = MixerRecord;
using StreamControls = HeldPin;

}  // namespace

TEST_F(VCamFilter, RunTakesTheCameraPauseNeitherTakesNorGivesItStopGivesBackOnlyItsOwnClaim) {
  HeldFilter filter;
  ASSERT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), 0u);
  ASSERT_EQ(filter->Run(0), S_OK);
  ASSERT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), GetCurrentProcessId());
  // Another host's Run took the camera over: this one's Stop leaves that claim alone.
  const uint32_t other = GetCurrentProcessId() + 4;
  mixer.setOpeningProcessId(other);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), other);
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
    pin->Release();
    part->Release();
  }
  ASSERT_EQ(filter.pin()->QueryInterface(IID_IShareSampleInterface, reinterpret_cast<void**>(&part)),
            S_OK);
  part->Release();
}

TEST_F(StreamControls, FrameRateModesSetThePeriodTheNextUpdatePublishes) {
  struct Case { uint32_t mode; int fps; };
  // Mode 4 is unknown and keeps the period of the mode before it.
  const Case cases[] = {{0, 10}, {1, 15}, {2, 30}, {3, 60}, {4, 60}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mode);
    EXPECT_EQ(pin->SetFrameRate(c.mode), S_OK);
    pin->UpdateVideoOutParamIntoSharedMemory();
    EXPECT_EQ(published().fps, c.fps);
  }
}

TEST_F(StreamControls, OutputSizeListIsPublishedOnlyWhenItHoldsEntriesAllInTheCameraRange) {
  OutputSizeList empty;
  EXPECT_EQ(pin->SetOutputWidthHeight(nullptr), S_OK);
  EXPECT_EQ(pin->SetOutputWidthHeight(&empty), S_OK);
  const OutputSizeList refused[] = {
      {{1920, -1080}}, {{1280, 720}, {0, 720}}, {{3841, 100}}, {{640, 360}, {-640, -360}}};
  for (const OutputSizeList& sizes : refused) {
    SCOPED_TRACE(sizes.back().first);
    EXPECT_EQ(pin->SetOutputWidthHeight(&sizes), E_INVALIDARG);
  }
  EXPECT_EQ(mixer.getOpeningProcessId(), 0u);

  OutputSizeList sizes = {{640, 360}, {320, 180}};
  EXPECT_EQ(pin->SetOutputWidthHeight(&sizes), S_OK);
  EXPECT_EQ(mixer.getOpeningProcessId(), GetCurrentProcessId());
}
