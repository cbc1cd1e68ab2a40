#include "delivery/scale_statistics.h"

#include <gtest/gtest.h>

#include <string>

#include "host/platform.h"
#include "tests/support/fake_clock.h"

namespace {

// The clock starts at the first frame rather than at construction, and wraps on the way.
TEST(OutputStatistics, ReportsEveryFiveSecondsOfTheMillisecondClock) {
  struct Step {
    uint32_t time;
    int frames;            // counted at `time`
    const char* expected;  // the report the last of them gives, if any
  } const steps[] = {{0xFFFFF000u, 10, ""},
                     {0x00000387u, 14, ""},
                     {0x00000388u, 1, "CVCamStream output count=25 fps=5 time=5000"},
                     {0x00000389u, 3, ""},
                     {0x00001CF4u, 1, "CVCamStream output count=4 fps=0 time=6508"}};
  FakeClock clock;
  setPlatform(&clock);
  OutputStatistics statistics;
  for (const Step& step : steps) {
    clock.now = step.time;
    for (int i = 0; i < step.frames; ++i) {
      char line[OutputStatistics::kLineSize] = {};
      const bool due = statistics.count(line);
      EXPECT_EQ(due && i == step.frames - 1, due) << "early report at " << step.time;
      if (i == step.frames - 1) {
        EXPECT_EQ(std::string(step.expected), line) << step.time;
      }
    }
  }
  setPlatform(nullptr);
}

}  // namespace
