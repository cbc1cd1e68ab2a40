#include "link/capture_share_memory_mgr.h"

#include <gtest/gtest.h>
#include <timeapi.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "link/device_occupancy.h"
#include "link/test_pattern.h"
#include "link/vcam_param_channel.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

CaptureFrameRecord frameOf(uint32_t width, uint32_t height, uint64_t timestamp) {
  CaptureFrameRecord record;
  record.width = width;
  record.height = height;
  record.timestampMs = timestamp;
  return record;
}

// Publishes one pattern frame of `width` by `height` into the writer's next buffer.
void publishPattern(CaptureShareMemoryMgr& writer, int width, int height, uint32_t counter) {
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  uint8_t* pixels = writer.lockWriteBuffer(offset, mapping);
  ASSERT_NE(pixels, nullptr);
  renderTestPattern(pixels, width, height, {counter, 1000 + counter});
  CaptureFrameRecord record = frameOf(width, height, 1000 + counter);
  writer.unLockWriteBuffer(record, true);
}

// Locks a frame, checks it against the pattern it claims to be, and unlocks. The mixer lays RGB
// frames bottom row first, as RGB media types are stored; this test's own writers do not.
testing::AssertionResult holdsPatternFrame(CaptureShareMemoryMgr& reader, uint32_t width,
                                           uint32_t height, TestPatternStamp& stamp,
                                           bool bottomRowFirst = false) {
  CaptureFrameRecord record;
  const uint8_t* pixels = reader.lockReadBuffer(record);
  if (!pixels) return testing::AssertionFailure() << "no frame";
  const size_t rowBytes = size_t(record.width) * 4;
  std::vector<uint8_t> frame(rowBytes * record.height);
  for (uint32_t row = 0; row < record.height; ++row) {
    const uint32_t from = bottomRowFirst ? record.height - 1 - row : row;
    std::copy_n(pixels + from * rowBytes, rowBytes, frame.data() + row * rowBytes);
  }
  reader.unLockReadBuffer();
  if (record.width != width || record.height != height) {
    return testing::AssertionFailure() << "frame is " << record.width << "x" << record.height;
  }
  if (!readTestPatternStamp(frame.data(), int(width), int(height), stamp)) {
    return testing::AssertionFailure() << "no stamp";
  }
  if (stamp.timestampMs != uint32_t(record.timestampMs)) {
    return testing::AssertionFailure() << "stamp time " << stamp.timestampMs << ", record time "
                                       << record.timestampMs;
  }
  std::vector<uint8_t> expected(frame.size());
  renderTestPattern(expected.data(), int(width), int(height), stamp);
  if (frame != expected) return testing::AssertionFailure() << "pixels differ from the pattern";
  return testing::AssertionSuccess();
}

ZARN_CHILD_ROLE(read_once) {
  CaptureShareMemoryMgr reader(kFrameRegionBase);
  reader.setEncrypted(args.at(0) == "sealed");
  CaptureFrameRecord record;
  if (!reader.attach(false) || !reader.lockReadBuffer(record)) return 1;
  reader.unLockReadBuffer();
  return 0;
}

ZARN_CHILD_ROLE(writer) {
  CaptureShareMemoryMgr writer(kFrameRegionBase);
  writer.create(1024, 64, 16, true, 0);
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  uint8_t* pixels = writer.lockWriteBuffer(offset, mapping);
  if (!pixels) return 1;
  renderTestPattern(pixels, 64, 16, {7, 1007});
  CaptureFrameRecord record = frameOf(64, 16, 1007);
  writer.unLockWriteBuffer(record, true);
  return idleUntilKilled();
}

TEST(CaptureShareMemory, ReaderSeesTheMixersPatternAtTheRequestedSize) {
  const struct {
    const wchar_t* arguments;
    bool sealed;
  } layouts[] = {{L"", true}, {L"--plain", false}, {L"--size 800x600", true}};
  for (const auto& layout : layouts) {
    SCOPED_TRACE(testing::Message() << "arguments: " << layout.arguments);
    ASSERT_TRUE(regionGone(kFrameMappingName));
    ASSERT_TRUE(regionGone(kParamMappingName));
    VCamParamChannel params;
    params.openOrCreate(1280, 720, 25, 0);
    ASSERT_TRUE(publishVideoOutParam(params, 640, 480, 333333, 0));
    ChildProcess mixer = ChildProcess::startSibling(
        L"zarnmixer-sim.exe", std::wstring(L"--seconds 60 --fps 30 ") + layout.arguments);
    ASSERT_TRUE(mixer.valid());

    CaptureShareMemoryMgr reader(kFrameRegionBase);
    reader.setEncrypted(layout.sealed);
    ASSERT_TRUE(waitUntil([&] { return reader.attach(false); }, 15000));
    TestPatternStamp first = {};
    ASSERT_TRUE(waitUntil([&] { return bool(holdsPatternFrame(reader, 640, 480, first, true)); }, 5000))
        << holdsPatternFrame(reader, 640, 480, first, true).message();
    const uint32_t age = timeGetTime() - first.timestampMs;
    EXPECT_LT(age, 5000u);

    // The mixer follows a new request, announced by the parameter event.
    ASSERT_TRUE(publishVideoOutParam(params, 320, 240, 333333, 0));
    TestPatternStamp later = {};
    ASSERT_TRUE(waitUntil([&] { return bool(holdsPatternFrame(reader, 320, 240, later, true)); }, 5000));
    EXPECT_GT(later.counter, first.counter);
    EXPECT_GE(int32_t(later.timestampMs - first.timestampMs), 0);
  }
}

TEST(CaptureShareMemory, ReadCountAndLastReaderPidFollowEveryReader) {
  for (bool sealed : {true, false}) {
    SCOPED_TRACE(sealed ? "sealed" : "plain");
    ASSERT_TRUE(regionGone(kFrameMappingName));
    CaptureShareMemoryMgr writer(kFrameRegionBase);
    writer.create(1024, 16, 16, sealed, 0);
    ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 16, 16, 1));

    uint32_t lastPid = 0;
    for (int reader = 0; reader < 2; ++reader) {
      ChildProcess child = ChildProcess::startRole("read_once", {sealed ? "sealed" : "plain"});
      ASSERT_EQ(child.wait(15000), std::optional<DWORD>(0));
      lastPid = child.pid();
    }
    CaptureFrameRecord record = frameOf(16, 16, 2);
    writer.unLockWriteBuffer(record, false);
    EXPECT_EQ(record.readCount, 2u);
    EXPECT_EQ(record.lastReaderPid, lastPid);
  }
}

TEST(CaptureShareMemory, PlainRecordReadAsSealedFallsBackToThePlainLayout) {
  ASSERT_TRUE(regionGone(kFrameMappingName));
  CaptureShareMemoryMgr writer(kFrameRegionBase);
  writer.create(1024, 3, 3, false, 0);
  // Two publications leave the complete buffer at 1024 + 36, no multiple of 8.
  ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 3, 3, 1));
  ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 3, 3, 2));

  CaptureShareMemoryMgr reader(kFrameRegionBase);
  reader.setEncrypted(true);
  ASSERT_TRUE(reader.attach(false));
  CaptureFrameRecord record;
  try {
    reader.lockReadBuffer(record);
    ADD_FAILURE() << "read as sealed";
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Incorrect buffer length");
  }
  reader.unLockReadBuffer();
  reader.setEncrypted(false);
  const uint8_t* pixels = reader.lockReadBuffer(record);
  ASSERT_NE(pixels, nullptr);
  std::vector<uint8_t> frame(pixels, pixels + 36);
  reader.unLockReadBuffer();
  EXPECT_EQ(record.width, 3u);
  EXPECT_EQ(record.timestampMs, 1002u);
  std::vector<uint8_t> expected(36);
  renderTestPattern(expected.data(), 3, 3, {2, 1002});
  EXPECT_EQ(frame, expected);
}

TEST(CaptureShareMemory, ReaderOutlivesTheWriterAndLeavesTheRegionOnDetach) {
  for (bool otherReaderStays : {false, true}) {
    SCOPED_TRACE(otherReaderStays ? "another reader stays" : "last reader");
    ASSERT_TRUE(regionGone(kFrameMappingName));
    ChildProcess writer = ChildProcess::startRole("writer");
    CaptureShareMemoryMgr reader(kFrameRegionBase);
    reader.setEncrypted(true);
    TestPatternStamp stamp = {};
    ASSERT_TRUE(waitUntil(
        [&] { return reader.attach(false) && bool(holdsPatternFrame(reader, 64, 16, stamp)); }, 15000));

    CaptureShareMemoryMgr other(kFrameRegionBase);
    if (otherReaderStays) {
      ASSERT_TRUE(other.attach(false));
    }
    writer.kill();
    ASSERT_FALSE(writer.running());
    EXPECT_TRUE(holdsPatternFrame(reader, 64, 16, stamp));
    EXPECT_EQ(stamp.counter, 7u);

    EXPECT_TRUE(reader.detach());
    EXPECT_EQ(reader.getRegionSize(), 0u);
    EXPECT_EQ(reader.attach(false), otherReaderStays);
  }
}

}  // namespace
