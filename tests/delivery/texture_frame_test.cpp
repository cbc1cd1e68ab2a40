#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <vector>

#include "delivery/format_tags.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/gpu/served_texture_helper.h"
#include "tests/support/fake_clock.h"

namespace {

const uint32_t kServedId = 77;
const int kWidth = 64;
const int kHeight = 48;

class TextureFrames : public ::testing::Test {
 protected:
  void SetUp() override {
    auto reader = std::make_unique<ServedTextureHelper>();
    served = reader.get();
    stream->m_pSharedTexHelper = std::move(reader);
  }

  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  ServedTextureHelper* served = nullptr;
  FrameWriter writer;
};

}  // namespace

TEST_F(TextureFrames, TextureThatCannotBeReadIsNotStampedAsAFrame) {
  stream->request(kWidth, kHeight, 32, kTagRGBA);
  GuardedSample sample(kWidth * kHeight * 4);
  writer.publish(frameRecord(kWidth, kHeight, 5000, kServedId + 9));
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
    CaptureFrameRecord record = frameRecord(kWidth, kHeight, 5000 + (&c - cases), kServedId);
    record.isFullRange = c.recordFullRange;
    writer.publish(record);
    stream->deliver(&sample.sample);
    const BYTE* p = sample.memory.data();
    EXPECT_EQ(std::vector<int>(p, p + 3), std::vector<int>(3, c.white));
  }
}
