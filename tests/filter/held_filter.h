#pragma once
// The camera filter as a host holds it: made by its factory function, one reference, and that
// reference the last one when the holder goes. Beside it, the mixer's side of the parameter record.
#include <gtest/gtest.h>
#include <dshow.h>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"
#include "link/vcam_param_channel.h"

struct HeldFilter {
  HeldFilter() {
    LogLineQueue::create();
    HRESULT hr = S_OK;
    filter = static_cast<CVCam*>(CVCam::CreateInstance(nullptr, &hr));
    filter->AddRef();
  }
  ~HeldFilter() { EXPECT_EQ(filter->Release(), 0u); }
  HeldFilter(const HeldFilter&) = delete;
  HeldFilter& operator=(const HeldFilter&) = delete;

  CVCam* operator->() const { return filter; }
  CVCamStream* pin() const { return filter->stream(); }

  CVCam* filter;
};

// Open for the whole test as a mixer keeps it, and left enabled and unclaimed for the next test.
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

  struct Published { int32_t width = 0, height = 0, fps = 0; uint32_t fourcc = 0; };
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

// A held camera beside the mixer's record, for the pin's own interfaces.
class HeldPin : public MixerRecord {
 protected:
  HeldFilter held;
  CVCamStream* const pin = held.pin();
};
