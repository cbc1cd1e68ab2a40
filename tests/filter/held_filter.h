#pragma once
// The camera filter as a host holds it: made by its factory function, one reference, and that
// reference the last one when the holder goes.
#include <gtest/gtest.h>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"

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
