#include <gtest/gtest.h>
#include <windows.h>

#include "tests/filter/held_filter.h"

using StreamControls = HeldPin;

TEST_F(StreamControls, FrameRateModesSetThePeriodTheNextUpdatePublishes) {
  struct Case {
    uint32_t mode;
    int fps;
  };
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
  // The delivered size changes only with the next frame.
  int width = 0, height = 0;
  pin->GetOutputWidthHeight(&width, &height);
  EXPECT_EQ(width, 1280);
  EXPECT_EQ(height, 720);
}
