#include "link/vcam_param_channel.h"

#include <gtest/gtest.h>

#include <vector>

#include "link/byte_order.h"
#include "link/device_occupancy.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

ZARN_CHILD_ROLE(filter_channel) {
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  return idleUntilKilled();
}

// The first bytes of the parameter region, as any other process maps them.
std::vector<uint8_t> paramBytes(size_t count) {
  std::vector<uint8_t> bytes;
  HANDLE mapping = OpenFileMappingW(FILE_MAP_READ, FALSE, kParamMappingName);
  if (!mapping) return bytes;
  if (const auto* view = static_cast<const uint8_t*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0))) {
    bytes.assign(view, view + count);
    UnmapViewOfFile(view);
  }
  CloseHandle(mapping);
  return bytes;
}

TEST(VCamParamChannel, FirstFilterCreatesTheDefaultsAndASecondOnlyOpens) {
  ASSERT_TRUE(regionGone(kParamMappingName));
  ChildProcess first = ChildProcess::startRole("filter_channel");
  ASSERT_TRUE(zarn::test::waitUntil(15000, [] { return mappingExists(kParamMappingName); }));
  VCamParamChannel channel;
  channel.openOrCreate(640, 480, 50, 7);
  const std::vector<uint8_t> defaults = {0, 0, 0x02, 0xD0, 0, 0, 0x05, 0x00, 0, 0x06, 0x1A, 0x80,
                                         0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
  EXPECT_EQ(paramBytes(32), defaults);
}

TEST(VCamParamChannel, UpdateWritesBigEndianFieldsClaimsAndSignals) {
  ASSERT_TRUE(regionGone(kParamMappingName));
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  ResetEvent(channel.getParamEvent());
  EXPECT_TRUE(publishVideoOutParam(channel, 640, 480, 333333, 0x30323449));
  EXPECT_EQ(WaitForSingleObject(channel.getParamEvent(), 0), WAIT_OBJECT_0);

  const uint32_t pid = GetCurrentProcessId();
  const std::vector<uint8_t> expected = {
      0x00, 0x00, 0x01, 0xE0, 0x00, 0x00, 0x02, 0x80, 0x00, 0x05, 0x16, 0x15, 0, 0, 0, 0,
      uint8_t(pid >> 24), uint8_t(pid >> 16), uint8_t(pid >> 8), uint8_t(pid),
      0x30, 0x32, 0x34, 0x49, 0, 0, 0, 1, 0, 0, 0, 4};
  EXPECT_EQ(paramBytes(32), expected);
  EXPECT_EQ(channel.readFilterVersion(), 4);
}

// A name held by another kind of object can be neither opened nor created as a mapping, as
// when an elevated mixer's region refuses this user: hosts connect, and nothing else happens.
TEST(VCamParamChannel, RegionThatCannotBeMappedIsNoChannel) {
  ASSERT_TRUE(regionGone(kParamMappingName));
  HANDLE squatter = CreateEventW(nullptr, TRUE, FALSE, kParamMappingName);
  ASSERT_NE(squatter, nullptr);
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  ResetEvent(channel.getParamEvent());
  EXPECT_FALSE(publishVideoOutParam(channel, 640, 480, 333333, 0x30323449));
  channel.setOpeningProcessId(GetCurrentProcessId());
  EXPECT_EQ(channel.getOpeningProcessId(), 0u);
  EXPECT_EQ(channel.readFilterVersion(), 0);
  EXPECT_EQ(WaitForSingleObject(channel.getParamEvent(), 0), DWORD(WAIT_TIMEOUT));
  channel.setEnableVCamConnect(false);
  EXPECT_TRUE(channel.isEnableVCamConnect());
  CloseHandle(squatter);
}

TEST(VCamParamChannel, OnlyExactlyOneLetsHostsConnect) {
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  HANDLE mapping = OpenFileMappingW(FILE_MAP_WRITE, FALSE, kParamMappingName);
  ASSERT_NE(mapping, nullptr);
  uint8_t* block = static_cast<uint8_t*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 32));
  for (uint32_t value : {1u, 0u, 2u, 0x101u}) {
    SCOPED_TRACE(value);
    storeBigEndian32(block + 24, value);
    EXPECT_EQ(channel.isEnableVCamConnect(), value == 1);
  }
  UnmapViewOfFile(block);
  CloseHandle(mapping);
}

}  // namespace
