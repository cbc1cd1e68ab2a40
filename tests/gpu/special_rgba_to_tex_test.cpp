#include "gpu/special_rgba_to_tex.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "diag/log_line_queue.h"
#include "gpu/special_common.h"
#include "tests/delivery/guarded_buffer.h"
#include "tests/gpu/texture_readback.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

namespace {

// `height` rows of `stride` bytes ending at a guard page, no two rows alike.
struct Source {
  Source(uint32_t height, uint32_t stride) : bytes(size_t{height} * stride) {
    for (size_t i = 0; i < bytes.size(); ++i) bytes.data()[i] = uint8_t(i * 7 + i / stride);
  }
  GuardedBuffer bytes;
};

}  // namespace

TEST(Upload, RowsLandAtTheirOwnStartsWhateverTheSourceStride) {
  // Under Wine a row pitch is always width * 4: a stride below it stands in for a driver that
  // aligns rows. A copy of more than a stride per row reads into the source's guard page. A new
  // height alone needs new textures.
  const struct {
    uint32_t width, height, stride;
  } cases[] = {{5, 6, 20}, {5, 3, 16}, {64, 7, 200}};
  SpecialRGBAToTex uploader;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " stride " << c.stride);
    Source source(c.height, c.stride);
    ASSERT_TRUE(uploader.memoryUploadTex(0, source.bytes.data(), c.width, c.height, c.stride));
    std::vector<uint8_t> pixels = readTexturePixels(uploader.sharedTexture());
    ASSERT_EQ(pixels.size(), size_t{c.width} * 4 * c.height);
    for (uint32_t row = 0; row < c.height; ++row) {
      EXPECT_EQ(0, memcmp(&pixels[row * c.width * 4], source.bytes.data() + row * c.stride,
                          std::min(c.stride, c.width * 4)))
          << "row " << row;
    }
  }
}

TEST(Upload, FailedUploadsWaitLongerEachTimeAndTheLastUploaderTakesTheDeviceAlong) {
  LogLineQueue::create();
  FakeClock clock;
  setPlatform(&clock);
  const uint64_t logStart = fileSizeOf(cameraLog());
  // Adapter 64 doesn't exist, so there is no device and no texture: each failed try logs once.
  const struct {
    uint32_t now, adapterIndex;
    bool uploaded;
    size_t mapErrors;
  } steps[] = {{0, 64, false, 1}, {999, 64, false, 1}, {1000, 64, false, 2}, {2999, 0, false, 2},
               {3000, 0, true, 2}};
  Source source(2, 8);
  {
    SpecialRGBAToTex uploader;
    for (const auto& step : steps) {
      SCOPED_TRACE(step.now);
      clock.now = step.now;
      EXPECT_EQ(uploader.memoryUploadTex(step.adapterIndex, source.bytes.data(), 2, 2, 8),
                step.uploaded);
      EXPECT_EQ(linesContaining(logStart, "SpecialRGBAToTex Map error").size(), step.mapErrors);
    }
  }
  EXPECT_EQ(SpecialCommon::instance().device(), nullptr);
  setPlatform(nullptr);
}

// The device lasts from upload to upload while it works; a driver reset removes it, and the next
// upload makes another, with textures of its own.
TEST(Upload, DeviceIsKeptUntilADriverResetRemovesIt) {
  static ID3D11Device* removed = nullptr;
  SpecialCommon& common = SpecialCommon::instance();
  SpecialRGBAToTex uploader;
  Source source(2, 8);
  ASSERT_TRUE(uploader.memoryUploadTex(0, source.bytes.data(), 2, 2, 8));
  removed = common.device();
  // Held, so that no later device can have its address.
  removed->AddRef();
  ASSERT_TRUE(uploader.memoryUploadTex(0, source.bytes.data(), 2, 2, 8));
  EXPECT_EQ(common.device(), removed);

  const auto working = g_deviceRemovedReason;
  g_deviceRemovedReason = [](ID3D11Device* device) {
    return device == removed ? DXGI_ERROR_DEVICE_REMOVED : S_OK;
  };
  EXPECT_TRUE(uploader.memoryUploadTex(0, source.bytes.data(), 2, 2, 8));
  g_deviceRemovedReason = working;
  EXPECT_NE(common.device(), removed);
  ID3D11Device* owner = nullptr;
  uploader.sharedTexture()->GetDevice(&owner);
  EXPECT_EQ(owner, common.device());
  owner->Release();
  removed->Release();
}

// A stream that goes leaves the device to the streams that still upload.
TEST(Upload, DeviceOutlivesAnUploaderWhileAnotherUploads) {
  SpecialRGBAToTex uploader;
  Source source(2, 8);
  ASSERT_TRUE(uploader.memoryUploadTex(0, source.bytes.data(), 2, 2, 8));
  ID3D11Device* device = SpecialCommon::instance().device();
  { SpecialRGBAToTex gone; }
  EXPECT_EQ(SpecialCommon::instance().device(), device);
}
