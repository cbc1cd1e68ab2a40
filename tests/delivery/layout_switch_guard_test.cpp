#include "delivery/layout_switch_guard.h"

#include <gtest/gtest.h>

#include <vector>

#include "delivery/format_tags.h"

namespace {

const uint32_t kRgb = 0;  // what a format call writes for RGB

// A request from one requested format to another, or a frame read at `now`, admitted or not.
struct Step {
  bool isRequest;
  uint32_t fourccBefore, fourcc;
  uint64_t ms;
  uint32_t width, height;
  bool admitted;
  uint64_t now;
};

Step request(uint32_t fourccBefore, uint32_t fourcc, uint64_t ms, uint32_t width = 1280,
             uint32_t height = 720) {
  return {true, fourccBefore, fourcc, ms, width, height, false, ms};
}

Step frame(uint64_t ms, bool admitted, uint64_t now = 0, uint32_t width = 1280,
           uint32_t height = 720) {
  return {false, 0, 0, ms, width, height, admitted, now ? now : ms};
}

const uint64_t kSettled = 1000 + LayoutSwitchGuard::kSettleMs;

TEST(LayoutSwitchGuard, AdmitsOnlyFramesThatShowTheMixerReadTheRequest) {
  struct Case { const char* name; std::vector<Step> steps; };
  const Case cases[] = {
      {"stamped before the request or in its millisecond: never, however late it is read",
       {frame(900, true), request(kRgb, kTagI420, 1000), frame(999, false, kSettled),
        frame(1000, false, kSettled)}},
      {"a slow mixer's frames of the same size wait until it has surely read the request",
       {frame(900, true), request(kRgb, kTagI420, 1000), frame(1033, false), frame(1066, false),
        frame(kSettled - 1, false), frame(kSettled, true), frame(kSettled + 33, true)}},
      {"a size that follows the request shows that the mixer switched",
       {frame(900, true, 0, 640, 480), request(kTagI420, kRgb, 1000),
        frame(1010, false, 0, 640, 480), frame(1020, true)}},
      {"no frame seen before the request: its size shows nothing",
       {request(kTagNV12, kTagRGB3, 1000), frame(1010, false)}},
      {"a mixer that publishes once after the request is shown once settled",
       {frame(900, true), request(kTagI420, kTagNV12, 1000), frame(1010, false),
        frame(1010, true, kSettled)}},
      {"every RGB tag is one layout, whatever the size",
       {request(kRgb, kTagRGB4, 1000, 640, 480), request(kTagRGB3, kTagRGBA, 1000),
        frame(10, true)}},
      {"the clock wraps between request and frame",
       {request(kRgb, kTagNV12, 0xFFFFFFF0), frame(0xFFFFFFE0, false, 0x100000300),
        frame(0x100000005, false), frame(0x100000300, true)}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LayoutSwitchGuard guard;
    for (size_t at = 0; at < c.steps.size(); ++at) {
      const Step& step = c.steps[at];
      if (step.isRequest) {
        guard.noteRequest(mixerFrameLayout(step.fourccBefore), mixerFrameLayout(step.fourcc),
                          int32_t(step.width), int32_t(step.height), uint32_t(step.ms));
      } else {
        EXPECT_EQ(guard.admits(step.ms, step.width, step.height, uint32_t(step.now)),
                  step.admitted)
            << "step " << at;
      }
    }
  }
}

}  // namespace
