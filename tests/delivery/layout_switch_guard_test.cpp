#include "delivery/layout_switch_guard.h"

#include <gtest/gtest.h>

#include <vector>

#include "delivery/format_tags.h"

namespace {

const uint32_t kRgb = 0;  // what a format call writes for RGB

// A request from one requested format to another, or a frame that is or is not admitted.
struct Step {
  bool isRequest;
  uint32_t fourccBefore, fourcc;
  uint64_t ms;
  uint32_t width, height;
  bool admitted;
};

Step request(uint32_t fourccBefore, uint32_t fourcc, uint64_t ms, uint32_t width = 1280,
             uint32_t height = 720) {
  return {true, fourccBefore, fourcc, ms, width, height, false};
}

Step frame(uint64_t ms, bool admitted, uint32_t width = 1280, uint32_t height = 720) {
  return {false, 0, 0, ms, width, height, admitted};
}

TEST(LayoutSwitchGuard, HoldsBackFramesThatMayBeOfTheLayoutBeforeTheRequest) {
  struct Case {
    const char* name;
    std::vector<Step> steps;
  };
  const Case cases[] = {
      {"stamped before the request, then the first after it, even when read twice",
       {frame(900, true), request(kRgb, kTagI420, 1000), frame(999, false), frame(1000, false),
        frame(1000, false), frame(1033, true), frame(1066, true)}},
      {"a size that follows the request shows that the mixer switched",
       {frame(900, true, 640, 480), request(kTagI420, kRgb, 1000), frame(990, false, 640, 480),
        frame(1010, true)}},
      {"no frame seen before the request: its size shows nothing",
       {request(kTagNV12, kTagRGB3, 1000), frame(1010, false), frame(1043, true)}},
      {"every RGB tag is one layout, whatever the size",
       {request(kRgb, kTagRGB4, 1000, 640, 480), request(kTagRGB3, kTagRGBA, 1000),
        frame(10, true)}},
      {"one planar layout after another",
       {request(kTagI420, kTagNV12, 1000), frame(999, false), frame(1001, false),
        frame(1034, true)}},
      {"the clock wraps between request and frame",
       {request(kRgb, kTagNV12, 0xFFFFFFF0), frame(0xFFFFFFE0, false), frame(0x100000005, false),
        frame(0x100000026, true)}},
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
        EXPECT_EQ(guard.admits(step.ms, step.width, step.height), step.admitted) << "step " << at;
      }
    }
  }
}

}  // namespace
