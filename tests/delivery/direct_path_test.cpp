#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <optional>
#include <vector>

#include "gpu/special_common.h"
#include "link/byte_order.h"
#include "link/frame_region_layout.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/gpu/texture_readback.h"
#include "tests/support/fake_clock.h"

namespace {

uint64_t luidValue(LUID luid) { return uint64_t(uint32_t(luid.HighPart)) << 32 | luid.LowPart; }

struct RecordingClient : IZarnCameraOutput {
  struct Call { uint64_t adapterLuid; uint32_t textureId; int64_t time; };
  HRESULT STDMETHODCALLTYPE OnCameraTexture(LUID luid, uint32_t textureId, int64_t time) override {
    calls.push_back({luidValue(luid), textureId, time});
    return S_OK;
  }
  std::vector<Call> calls;
};

CaptureFrameRecord textureRecord(uint64_t timestampMs, LUID luid = {7, 0}, uint32_t textureId = 1,
                                 uint32_t width = 64, uint32_t height = 48) {
  CaptureFrameRecord record = frameRecord(width, height, timestampMs, textureId);
  record.adapterLuid = {luid.LowPart, luid.HighPart};
  return record;
}

class DirectPath : public ::testing::Test {
 protected:
  void SetUp() override { stream->SetZarnCameraOutput(&client); }
  void fill() { stream->FillBuffer(nullptr); }

  FakeClock clock;
  RecordingClient client;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  const uint64_t bestLuid = luidValue(SpecialCommon::instance().getBestAdapterLuid());
};

}  // namespace

TEST_F(DirectPath, TextureFrameTimesThatAreNotNewerRiseByHalfAPeriodComparedUnsigned) {
  clock.now = 123456;
  fill();
  FrameWriter mixer;
  // Published and told; half the initial period is 33 ms.
  const std::pair<uint64_t, int64_t> steps[] = {
      {0, 33}, {1000, 1000}, {1000, 1033}, {500, 1066}, {uint64_t(INT64_MIN), INT64_MIN}};
  for (const auto& step : steps) {
    mixer.publish(textureRecord(step.first));
    fill();
  }
  ASSERT_EQ(client.calls.size(), std::size(steps) + 1);
  for (size_t i = 0; i < std::size(steps); ++i) {
    EXPECT_EQ(client.calls[i + 1].time, steps[i].second);
  }
}

TEST_F(DirectPath, RecordLuidIsPassedAsItStandsUnlessItIsZero) {
  ASSERT_NE(bestLuid, 0u) << "the display has an adapter";
  FrameWriter mixer;
  const struct {
    LUID luid;
    uint64_t told;
    uint32_t width, height;
  } cases[] = {{{0x2A, 0}, 0x2A, 3840, 2160}, {{0, 5}, 5ull << 32, 64, 48},
               {{0, 0}, bestLuid, 1921, 1081}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.told);
    client.calls.clear();
    mixer.publish(textureRecord(10, c.luid, 0x101, c.width, c.height));
    fill();
    ASSERT_EQ(client.calls.size(), 1u);
    EXPECT_EQ(client.calls[0].adapterLuid, c.told);
    EXPECT_EQ(client.calls[0].textureId, 0x101u);
    int width = 0, height = 0;
    stream->GetOutputWidthHeight(&width, &height);
    EXPECT_EQ(width, int(c.width));
    EXPECT_EQ(height, int(c.height));
  }
}

TEST_F(DirectPath, WithoutAFrameTheStoredPictureGoesOutAtTheRequestedSizeAndTheRawClock) {
  const struct {
    const char* what;
    bool metMixerFirst, memoryPathFirst, flipHost;
  } cases[] = {{"no mixer at first", false, false, false},
               {"met a mixer first", true, false, false},
               {"memory path first, flip host", false, true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    PinBesideFilter<> own{clock};
    OpenStream* stream = own.stream.get();
    stream->m_isFlipHost = c.flipHost;
    GuardedSample sample(1280 * 720 * 4);
    if (c.memoryPathFirst) stream->deliver(&sample.sample);
    RecordingClient told;
    stream->SetZarnCameraOutput(&told);
    std::optional<FrameWriter> mixer;
    if (c.metMixerFirst) {
      mixer.emplace();
      mixer->publish(textureRecord(10, {7, 0}, 0x101));
      stream->FillBuffer(nullptr);
      storeLittleEndian64(mixer->region() + sealed_offset::kSealedLength, 1ull << 40);
    }
    clock.now = 123456;
    told.calls.clear();
    stream->FillBuffer(nullptr);
    ASSERT_EQ(told.calls.size(), 1u);
    EXPECT_EQ(told.calls[0].adapterLuid, bestLuid);
    EXPECT_EQ(told.calls[0].textureId, stream->textureId());
    EXPECT_EQ(told.calls[0].time, 123456);

    // Top row first with red and blue exchanged, for flip hosts too, as the mixer's textures lie.
    stream->LoadBackground(false);
    const FrameBuffer& picture = stream->m_placeholderFrame;
    ASSERT_EQ(picture.width * picture.height, 1280 * 720);
    std::vector<uint8_t> pixels = readTexturePixels(stream->texture());
    ASSERT_EQ(pixels.size(), size_t{1280} * 720 * 4);
    int mismatches = 0;
    for (int i = 0; i < 1280 * 720; ++i) {
      const uint8_t* want = picture.plane[0] + i * 4;
      const uint8_t* got = &pixels[i * 4];
      mismatches += got[0] != want[2] || got[1] != want[1] || got[2] != want[0];
    }
    EXPECT_EQ(mismatches, 0);

    stream->SetZarnCameraOutput(nullptr);
    stream->deliver(&sample.sample);
    stream->LoadBackground(!c.flipHost);
    EXPECT_EQ(std::memcmp(sample.memory.data(), picture.plane[0], sample.memory.size()), 0);

    stream->SetZarnCameraOutput(&told);
    stream->request(640, 360);
    stream->FillBuffer(nullptr);
    EXPECT_EQ(readTexturePixels(stream->texture()).size(), size_t{640} * 360 * 4);
  }
}
