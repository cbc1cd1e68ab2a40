#pragma once
// The mixer's side of the parameter record, open for the whole test as a mixer keeps it, and left
// enabled and unclaimed for the next test.
#include <gtest/gtest.h>
#include <dshow.h>

#include "link/vcam_param_channel.h"

class MixerRecord : public ::testing::Test {
 protected:
  void SetUp() override {
    mixer.openOrCreate(1280, 720, 25, 0);
    TearDown();
  }
  void TearDown() override {
    mixer.setEnableVCamConnect(true);
    mixer.setOpeningProcessId(0);
  }

  struct Published {
    int32_t width = 0, height = 0, fps = 0;
    uint32_t fourcc = 0;
  };
  Published published() {
    Published p;
    mixer.readVideoOutParam(p.width, p.height, p.fps, p.fourcc);
    return p;
  }

  VCamParamChannel mixer;
};

inline BITMAPINFOHEADER& headerOf(const AM_MEDIA_TYPE& type) {
  return reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
}
