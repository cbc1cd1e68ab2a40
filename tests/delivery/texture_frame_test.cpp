#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <vector>

#include "delivery/format_tags.h"
#include "link/test_pattern.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/gpu/served_texture_helper.h"
#include "tests/support/fake_clock.h"

namespace {

const uint32_t kServedId = 77;
const int kWidth = 64;
const int kHeight = 48;

// The mixer's test pattern, top row first, red first as the reader serves it.
RgbaImage patternImage(int width, int height) {
  std::vector<uint8_t> pixels(size_t(width) * height * 4);
  renderTestPattern(pixels.data(), width, height, {1, 1000});
  return {width, height, exchangeRedBlue(pixels)};
}

class TextureFrames : public ::testing::Test {
 protected:
  void SetUp() override {
    auto reader = std::make_unique<ServedTextureHelper>();
    served = reader.get();
    stream->m_pSharedTexHelper = std::move(reader);
  }

  void publish(uint32_t width, uint32_t height, uint8_t isFullRange,
               uint32_t textureId = kServedId) {
    CaptureFrameRecord record = frameRecord(width, height, ++timestamp, textureId);
    record.is709 = 1;
    record.isFullRange = isFullRange;
    writer.publish(record);
  }

  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  ServedTextureHelper* served = nullptr;
  FrameWriter writer;
  uint64_t timestamp = 5000;
};

// Red, green, blue of the RGB sample pixel (x, y) of the picture: rows bottom first.
std::vector<int> rgbAt(const BYTE* sample, int bytesPerPixel, int width, int height, int x, int y) {
  const BYTE* p = sample + (size_t(height - 1 - y) * width + x) * bytesPerPixel;
  return {p[2], p[1], p[0]};
}

}  // namespace

// Memory frames are turned over for flip hosts, RGB ones only; so is every texture frame, read
// straight into the sample or scaled. A record that claims the target size for a smaller
// texture is scaled from the texture's own size. Each sample is gone after its frame, so a
// scaled frame that wrote into the one read straight into before it would fault.
TEST_F(TextureFrames, EveryTextureFrameLiesAsAMemoryFrameWouldForPlainAndFlipHosts) {
  served->serve(kServedId, DXGI_FORMAT_B8G8R8A8_UNORM, patternImage(kWidth, kHeight));
  served->serve(kServedId + 1, DXGI_FORMAT_B8G8R8A8_UNORM, patternImage(kWidth / 2, kHeight / 2));
  const TestPatternColour quadrants[] = {kPatternTopLeft, kPatternTopRight, kPatternBottomLeft,
                                         kPatternBottomRight};
  for (bool flipHost : {false, true}) {
    for (uint32_t textureId : {kServedId, kServedId + 1}) {
      for (int bitCount : {32, 24, 12}) {
        SCOPED_TRACE(testing::Message() << flipHost << " " << textureId << " " << bitCount);
        const bool planar = bitCount == 12;
        stream->m_isFlipHost = flipHost;
        stream->request(kWidth, kHeight, bitCount, planar ? kTagI420 : kTagRGBA);
        GuardedSample sample(kWidth * kHeight * bitCount / 8);
        publish(kWidth, kHeight, 1, textureId);
        stream->deliver(&sample.sample);
        for (int q = 0; q < 4; ++q) {
          const TestPatternColour& c = quadrants[q];
          const int x = (q % 2 * 2 + 1) * kWidth / 4, y = (q / 2 * 2 + 1) * kHeight / 4;
          const int row = planar || flipHost ? y : kHeight - 1 - y;
          const BYTE* p = sample.memory.data() + (row * kWidth + x) * (planar ? 1 : bitCount / 8);
          // Planar: the full-range luma of BT.709.
          const std::vector<int> want =
              planar ? std::vector<int>{(213 * c.red + 715 * c.green + 72 * c.blue) / 1000}
                     : std::vector<int>{c.blue, c.green, c.red};
          for (size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(p[i], want[i], 4) << q;
        }
      }
    }
  }
}

TEST_F(TextureFrames, TextureThatCannotBeReadIsNotStampedAsAFrame) {
  stream->request(kWidth, kHeight, 32, kTagRGBA);
  GuardedSample sample(kWidth * kHeight * 4);
  publish(kWidth, kHeight, 1, kServedId + 9);
  stream->deliver(&sample.sample);
  REFERENCE_TIME start = 0, stop = 0;
  EXPECT_NE(sample.sample.GetMediaTime(&start, &stop), S_OK);
  EXPECT_EQ(sample.sample.IsSyncPoint(), S_FALSE);
}

TEST_F(TextureFrames, LimitedRangeFromTheMixerReachesRgbHostsOnlyWhenListed) {
  served->serve(kServedId, DXGI_FORMAT_R8G8B8A8_UNORM,
                {kWidth, kHeight, std::vector<uint8_t>(size_t(kWidth) * kHeight * 4, 255)});
  const struct {
    uint8_t recordFullRange;
    bool limitedHost;
    int white;
  } cases[] = {{1, true, 255}, {0, false, 255}, {0, true, 235}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.recordFullRange) << c.limitedHost);
    stream->m_isLimitedRgbHost = c.limitedHost;
    stream->request(kWidth, kHeight, 24, kTagRGBA);
    GuardedSample sample(kWidth * kHeight * 3);
    publish(kWidth, kHeight, c.recordFullRange);
    stream->deliver(&sample.sample);
    EXPECT_EQ(rgbAt(sample.memory.data(), 3, kWidth, kHeight, 5, 5), (std::vector<int>(3, c.white)));
  }
}
