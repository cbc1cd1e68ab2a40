#include "host/platform.h"

#include <gtest/gtest.h>

namespace {

class FixedClock : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t*, const wchar_t*) override { return false; }
  uint32_t milliseconds() override { return 1234; }
};

}  // namespace

TEST(Platform, ReplacementIsInForceUntilRemoved) {
  FixedClock fixed;
  setPlatform(&fixed);
  EXPECT_EQ(platform().milliseconds(), 1234u);
  setPlatform(nullptr);
  EXPECT_NE(&platform(), &fixed);
}
