#include <gtest/gtest.h>
#include <windows.h>
#include <timeapi.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

#include "link/byte_order.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

using zarn::test::ChildProcess;

namespace {

const int kWidth = 1280;
const int kHeight = 720;

// Throws from its next read once armed: the first under the frame's mutex is the conversion's.
struct ArmedClock : FakeClock {
  uint32_t milliseconds() override {
    if (std::exchange(armed, false)) throw 1;
    return now;
  }
  bool armed = false;
};

class MemoryPath : public ::testing::Test {
 protected:
  MemoryPath() { clock.now = 0x40000000; }

  bool mixerFrameArrives() {
    sample->SetSyncPoint(FALSE);
    for (int i = 0; i < 50 && sample->IsSyncPoint() != S_OK; ++i) stream->FillBuffer(sample);
    return sample->IsSyncPoint() == S_OK;
  }

  ArmedClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  GuardedSample guarded{kWidth * kHeight * 4};
  IMediaSample* sample = &guarded.sample;
  BYTE* pixels = guarded.memory.data();
};

bool frameMutexIsFree() {
  HANDLE mutex =
      OpenMutexW(SYNCHRONIZE, FALSE, L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_Mutex");
  DWORD waited = WAIT_FAILED;
  std::thread([&] {
    waited = WaitForSingleObject(mutex, 2000);
    if (waited == WAIT_OBJECT_0) ReleaseMutex(mutex);
  }).join();
  CloseHandle(mutex);
  return waited == WAIT_OBJECT_0;
}

// Holds both regions' mutexes, as a hung mixer would, until killed.
ZARN_CHILD_ROLE(hold_region_mutexes) {
  for (const wchar_t* name : {L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_Mutex",
                              L"ZARNCAM_INT_VIRTUAL_VIDEO_VCAMPARA_SHARE_MEMORY_Mutex"})
    WaitForSingleObject(CreateMutexW(nullptr, FALSE, name), INFINITE);
  SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"ZARN_TEST_REGION_MUTEXES_HELD"));
  return idleUntilKilled();
}

}  // namespace

TEST_F(MemoryPath, ExceptionWhileAFrameIsConvertedGivesTheMutexBack) {
  FrameWriter writer;
  writer.publish(frameRecord(64, 48, 1000));
  ASSERT_TRUE(mixerFrameArrives());
  clock.armed = true;
  EXPECT_EQ(stream->FillBuffer(sample), S_OK);
  EXPECT_FALSE(clock.armed);
  EXPECT_TRUE(frameMutexIsFree());
}

// An unbounded wait would last until the hung holder ends itself.
TEST(HeldMutexes, HungHolderCostsAStreamItsFramesButNeverItsBeat) {
  FrameWriter writer;
  writer.publish(frameRecord(64, 48, 1000));
  HANDLE held = CreateEventW(nullptr, TRUE, FALSE, L"ZARN_TEST_REGION_MUTEXES_HELD");
  ChildProcess holder = ChildProcess::startRole("hold_region_mutexes");
  ASSERT_EQ(WaitForSingleObject(held, 10000), WAIT_OBJECT_0);
  CloseHandle(held);
  const DWORD start = GetTickCount();
  const uint64_t logStart = fileSizeOf(cameraLog());
  FakeClock clock;
  clock.now = 0x40000000;
  PinBesideFilter<> pin{clock};
  GuardedSample guarded{kWidth * kHeight * 4};
  for (int beat = 0; beat < 3; ++beat) EXPECT_EQ(pin.stream->FillBuffer(&guarded.sample), S_OK);
  EXPECT_EQ(pin.filter->Stop(), S_OK);
  EXPECT_LT(GetTickCount() - start, 10000u);
  EXPECT_NE(guarded.sample.IsSyncPoint(), S_OK);
  EXPECT_EQ(linesContaining(logStart, "_Mutex held by another process").size(), 1u);

  holder.kill();
  pin.stream->FillBuffer(&guarded.sample);
  EXPECT_EQ(guarded.sample.IsSyncPoint(), S_OK);
  EXPECT_EQ(pin.stream->deviceOpeningProcessId(), GetCurrentProcessId());
}

TEST_F(MemoryPath, RepeatedAndOlderTimeStampsAdvanceByHalfAPeriodInMediaTimeOnly) {
  FrameWriter writer;
  // Published, then start and stop; half the initial period is 33 ms.
  const REFERENCE_TIME steps[][3] = {{1000, 1000, 1066}, {1000, 1033, 1099}, {1000, 1066, 1132},
                                     {500, 1099, 1165},  {2000, 2000, 2066}};
  for (const auto& step : steps) {
    SCOPED_TRACE(step[1]);
    writer.publish(frameRecord(64, 48, uint64_t(step[0])));
    stream->FillBuffer(sample);
    REFERENCE_TIME start = 0, stop = 0;
    ASSERT_EQ(sample->GetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(start, step[1]);
    EXPECT_EQ(stop, step[2]);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
  }
}

TEST_F(MemoryPath, RecordReachingPastTheRegionGivesThePlaceholderAndItsFaultIsLoggedOnce) {
  FrameWriter writer;
  uint8_t* view = writer.region();

  const struct {
    const char* fault;
    uint32_t width, height;
    size_t headerField;
    uint64_t value;
  } cases[] = {
      {"width above 16384", 16385, 48, sealed_offset::kReadBufferOffset, 0},
      {"height above 16384", 64, 20000, sealed_offset::kReadBufferOffset, 0},
      {"offset+bytes past region", 64, 48, sealed_offset::kReadBufferOffset,
       writer.writer.getRegionSize() - 64 * 48 * 4 + 4},
      {"sealedLength above header area", 64, 48, sealed_offset::kSealedLength, 1ull << 40},
  };
  const size_t sampleBytes = size_t(kWidth) * kHeight * 4;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    CaptureFrameRecord record = frameRecord(c.width, c.height, 0);
    writer.writer.unLockWriteBuffer(record, false);
    const uint64_t kept = loadLittleEndian64(view + c.headerField);
    if (c.value) storeLittleEndian64(view + c.headerField, c.value);
    clock.now += 60000;
    const uint64_t logStart = fileSizeOf(cameraLog());
    for (int i = 0; i < 2; ++i) {
      std::memset(pixels, 0x5A, sampleBytes);
      sample->SetSyncPoint(FALSE);
      stream->FillBuffer(sample);
      EXPECT_NE(sample->IsSyncPoint(), S_OK);
      // The stored picture's bottom row, though this stream met a mixer first.
      EXPECT_NEAR(pixels[0], 0x73, 10);
      EXPECT_NEAR(pixels[1], 0x6f, 10);
      EXPECT_NEAR(pixels[2], 0x2f, 10);
    }
    EXPECT_EQ(linesContaining(logStart, std::string("no frame: ") + c.fault).size(), 1u);
    storeLittleEndian64(view + c.headerField, kept);
  }

  writer.publish(frameRecord(64, 48, 5000));
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
}

TEST_F(MemoryPath, SampleSmallerThanTheRequestedFrameIsLeftAlone) {
  const long bytes = kWidth * kHeight * 4 - 4;
  GuardedSample small(bytes, 0x5A);
  stream->FillBuffer(&small.sample);
  EXPECT_EQ(std::count(small.memory.data(), small.memory.data() + bytes, 0x5A), bytes);
}

// A host reading its negotiated type must never see a client's smaller picture garbled.
TEST_F(MemoryPath, SecondOutputSizeLiesInTheSampleAtItsStridesOrIsNotUsed) {
  FrameWriter writer(true, kFrameHeaderSize, kWidth, kHeight);
  const struct {
    int32_t bitCount;
    int width, height, deliveredWidth, deliveredHeight;
  } cases[] = {{32, 640, 360, 640, 360}, {32, 1920, 1080, kWidth, kHeight},
               {32, 720, 1280, kWidth, kHeight}, {24, 322, 180, 322, 180},
               {12, 641, 361, 640, 360}, {12, 320, 1, kWidth, kHeight}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bitCount << " bits, " << c.width << "x" << c.height);
    const bool planar = c.bitCount == 12;
    const int pixel = planar ? 1 : c.bitCount / 8;
    GuardedSample guarded(long(kWidth) * kHeight * (planar ? 3 : 2 * pixel) / 2, 0x5A);
    stream->request(kWidth, kHeight, c.bitCount, planar ? kTagI420 : kTagRGBA);
    OutputSizeList sizes = {{kWidth, kHeight}, {c.width, c.height}};
    ASSERT_EQ(stream->SetOutputWidthHeight(&sizes), S_OK);
    writer.publish(frameRecord(planar ? kWidth : 64, planar ? kHeight : 48, timeGetTime() + 1));
    stream->deliver(&guarded.sample);

    int width = 0, height = 0;
    stream->GetOutputWidthHeight(&width, &height);
    EXPECT_EQ(width, c.deliveredWidth);
    EXPECT_EQ(height, c.deliveredHeight);
    const BYTE* row = guarded.memory.data();
    for (int plane = 0; plane < (planar ? 3 : 1); ++plane) {
      const int half = plane ? 2 : 1, stride = kWidth * pixel / half;
      for (int y = 0; y < kHeight / half; ++y, row += stride) {
        const int picture = y < c.deliveredHeight / half ? c.deliveredWidth * pixel / half : 0;
        ASSERT_EQ(std::count(row + picture, row + stride, 0x5A), stride - picture) << plane << y;
        ASSERT_TRUE(!picture || std::count(row, row + picture, 0x5A) < picture) << plane << y;
      }
    }
  }
}

TEST_F(MemoryPath, FramePublishedOnceAfterASwitchOfLayoutIsShownNotThePlaceholder) {
  FrameWriter writer(true, kFrameHeaderSize, kWidth, kHeight);
  writer.publish(frameRecord(kWidth, kHeight, timeGetTime()));
  ASSERT_TRUE(mixerFrameArrives());
  stream->request(kWidth, kHeight, 12, kTagI420);
  stream->UpdateVideoOutParamIntoSharedMemory();
  writer.publish(frameRecord(kWidth, kHeight, timeGetTime() + 1));
  sample->SetSyncPoint(FALSE);
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
}

TEST_F(MemoryPath, RecordThatCannotBeUnsealedIsReadPlainWithTheMutexGivenBack) {
  const uint64_t logStart = fileSizeOf(cameraLog());
  // Plain buffers 4 bytes off an 8-byte boundary: read as sealed, the buffer offset is a length
  // the cipher refuses.
  FrameWriter writer(false, kFrameHeaderSize + 4);
  writer.publish(frameRecord(64, 48, 1000));
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
  EXPECT_EQ(linesContaining(logStart, "zarnmixer lockReadBuffer error std::exception!").size(), 1u);
  EXPECT_TRUE(frameMutexIsFree());
  // The plain record's read count.
  EXPECT_EQ(loadLittleEndian64(writer.region() + 0x10), 1u);
}

TEST_F(MemoryPath, MixerRestartedAfterATimeOutCreatesItsRegionAfresh) {
  {
    FrameWriter ended;
    ended.publish(frameRecord(64, 48, 1000));
    stream->FillBuffer(sample);
    ASSERT_EQ(sample->IsSyncPoint(), S_OK);
  }
  stream->FillBuffer(sample);
  FrameWriter restarted;
  EXPECT_TRUE(restarted.writer.createdRegion());
}

TEST_F(MemoryPath, FilterAnswersItIsTheCameraAndWhetherTheLastFrameWasEnhanced) {
  ICheckZarnCam* check = nullptr;
  ICheckZarnCamUsingVideoEnhancements* enhanced = nullptr;
  ASSERT_EQ(pin.filter->QueryInterface(IID_ICheckZarnCam, reinterpret_cast<void**>(&check)), S_OK);
  ASSERT_EQ(pin.filter->QueryInterface(IID_ICheckZarnCamUsingVideoEnhancements,
                                       reinterpret_cast<void**>(&enhanced)), S_OK);
  unsigned char answer = 0;
  EXPECT_EQ(check->CheckZarnCam(&answer), S_OK);
  EXPECT_EQ(answer, 1);
  FrameWriter writer;
  for (uint8_t flag : {1, 0}) {
    CaptureFrameRecord record = frameRecord(64, 48, 1000 + flag);
    record.recordFlag = flag;
    writer.publish(record);
    pin.filter->stream()->FillBuffer(sample);
    ASSERT_EQ(sample->IsSyncPoint(), S_OK);
    EXPECT_EQ(enhanced->CheckZarnCamUsingVideoEnhancements(&answer), S_OK);
    EXPECT_EQ(answer, flag);
  }
  check->Release();
  enhanced->Release();
}
