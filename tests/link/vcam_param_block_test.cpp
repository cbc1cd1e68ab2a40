#include "link/vcam_param_block.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(VCamParamBlock, MixerReadReplacesUnusableValues) {
  const struct { int32_t width, height, period, readWidth, readHeight, readFps; } cases[] = {
      {640, 480, 333333, 640, 480, 30},
      {640, 480, 0, 640, 480, 24},
      {640, 480, 1, 640, 480, 10000000},
      {640, 480, -5, 640, 480, 24},
      {640, 0, 400000, 1280, 720, 25},
      {-1, 480, 400000, 1280, 720, 25},
      {1, 1, 10000001, 1, 1, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " period " << c.period);
    std::vector<uint8_t> block(kParamBlockSize, 0);
    writeParamField(block.data(), kWidthOut, uint32_t(c.width));
    writeParamField(block.data(), kHeightOut, uint32_t(c.height));
    writeParamField(block.data(), kTimePerFrame, uint32_t(c.period));
    writeParamField(block.data(), kFourccOut, 0x30323449);
    const VideoOutRequest request = decodeVideoOutRequest(block.data());
    EXPECT_EQ(request.width, c.readWidth);
    EXPECT_EQ(request.height, c.readHeight);
    EXPECT_EQ(request.fps, c.readFps);
    EXPECT_EQ(request.fourcc, 0x30323449u);
  }
}

}  // namespace
