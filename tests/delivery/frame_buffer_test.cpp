#include "delivery/frame_buffer.h"

#include <gtest/gtest.h>

#include "delivery/format_tags.h"

namespace {

TEST(FormatTags, SizeAndPlanesFollowTheTag) {
  uint8_t* const base = reinterpret_cast<uint8_t*>(0x10000);
  uint8_t* const untouched = reinterpret_cast<uint8_t*>(1);
  struct Case {
    uint32_t tag;
    int32_t width, height;
    uint32_t bytes;
    uint8_t* plane[3];
    int32_t stride[3];
  };
  const Case cases[] = {
      {kTagRGB4, 3, 3, 36, {base, nullptr, nullptr}, {12, 0, 0}},
      // Bitmap rows: 24-bit rows are padded to 4 bytes.
      {kTagRGB3, 3, 2, 24, {base, nullptr, nullptr}, {12, 0, 0}},
      {kTag24BG, 1, 1, 4, {base, nullptr, nullptr}, {4, 0, 0}},
      {kTagBYTE, 3, 1, 4, {base, nullptr, nullptr}, {3, 0, 0}},
      {kTagI420, 8, 4, 48, {base, base + 32, base + 40}, {8, 4, 4}},
      // Odd sizes: chroma rounds up, 2 by 2 samples of 3 by 3.
      {kTagYV12, 3, 3, 20, {base, base + 9, base + 13}, {3, 2, 2}},
      {kTagNV12, 8, 4, 48, {base, base + 32, nullptr}, {8, 8, 0}},
      {kTagNV12, 5, 3, 28, {base, base + 15, nullptr}, {5, 6, 0}},
      {makeFormatTag("YUY2"), 8, 4, 0, {untouched, untouched, untouched}, {-1, -1, -1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(reinterpret_cast<const char*>(&c.tag), 4));
    EXPECT_EQ(c.bytes, imageSizeForTag(c.tag, c.width, c.height));
    uint8_t* plane[3] = {untouched, untouched, untouched};
    int32_t stride[3] = {-1, -1, -1};
    layOutPlanes(c.tag, base, c.width, c.height, plane, stride);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(c.plane[i], plane[i]) << "plane " << i;
      EXPECT_EQ(c.stride[i], stride[i]) << "stride " << i;
    }
  }
}

TEST(FrameBuffer, StorageOnlyGrowsKeepsItsBytesAndCarriesThePlanes) {
  FrameBuffer frame;
  frame.resize(3, 3, kTagRGB3);
  for (uint32_t i = 0; i < frame.capacity; ++i) frame.data[i] = uint8_t(i + 1);
  frame.resize(64, 48, 0);
  ASSERT_NE(nullptr, frame.data);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(frame.data) % 16);
  EXPECT_EQ(kTagRGB3, frame.fourcc);
  EXPECT_EQ(64u * 48 * 3, frame.capacity);
  for (uint32_t i = 0; i < 12; ++i) EXPECT_EQ(i + 1, frame.data[i]) << i;

  uint8_t* const storage = frame.data;
  frame.resize(32, 16, kTagI420);
  EXPECT_EQ(storage, frame.data);
  EXPECT_EQ(64u * 48 * 3, frame.capacity);
  EXPECT_EQ(storage + 32 * 16, frame.plane[1]);
  EXPECT_EQ(16, frame.stride[2]);
  // Four bytes more than it holds is still more.
  frame.resize(2305, 1, kTagRGB4);
  EXPECT_EQ(2305u * 4, frame.capacity);
}

}  // namespace
