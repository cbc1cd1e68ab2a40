#include "link/vcam_param_channel.h"

#include <gtest/gtest.h>

#include <vector>

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
  if (const void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0)) {
    const uint8_t* start = static_cast<const uint8_t*>(view);
    bytes.assign(start, start + count);
    UnmapViewOfFile(view);
  }
  CloseHandle(mapping);
  return bytes;
}

std::wstring ownExeName() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring full(path);
  return full.substr(full.find_last_of(L'\\') + 1);
}

TEST(VCamParamChannel, WhicheverSideComesFirstCreatesTheDefaults) {
  const struct {
    const char* first;
    bool mixer;
  } sides[] = {{"filter", false}, {"mixer", true}};
  for (const auto& side : sides) {
    SCOPED_TRACE(side.first);
    ASSERT_TRUE(regionGone(kParamMappingName));
    ChildProcess child = side.mixer ? ChildProcess::startSibling(L"zarnmixer-sim.exe", L"--seconds 60")
                                    : ChildProcess::startRole("filter_channel");
    ASSERT_TRUE(waitUntil([] { return mappingExists(kParamMappingName); }, 15000));

    VCamParamChannel channel;
    channel.openOrCreate(640, 480, 50, 7);
    int32_t width = 0;
    int32_t height = 0;
    int32_t fps = 0;
    uint32_t fourcc = 99;
    channel.readVideoOutParam(width, height, fps, fourcc);
    EXPECT_EQ(width, 1280);
    EXPECT_EQ(height, 720);
    EXPECT_EQ(fps, 25);
    EXPECT_EQ(fourcc, 0u);
    EXPECT_TRUE(channel.isEnableVCamConnect());
    EXPECT_EQ(channel.getOpeningProcessId(), 0u);
  }
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
  EXPECT_EQ(_wcsicmp(channel.getOpeningProcessName().c_str(), ownExeName().c_str()), 0);
}

TEST(VCamParamChannel, MixerSwitchRefusesConnectionsUntilItStops) {
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  ChildProcess mixer = ChildProcess::startSibling(L"zarnmixer-sim.exe", L"--disable-connect --seconds 3");
  EXPECT_TRUE(waitUntil([&] { return !channel.isEnableVCamConnect(); }, 15000));
  EXPECT_EQ(mixer.wait(20000), std::optional<DWORD>(0));
  EXPECT_TRUE(channel.isEnableVCamConnect());
}

TEST(ZarnmixerSim, RefusesBadArgumentsAndStopsAfterItsFrames) {
  const struct {
    const wchar_t* arguments;
    DWORD code;
  } cases[] = {
      {L"--fps 0", 2},          {L"--fps 30x", 2},      {L"--size 0x10", 2},
      {L"--size 640", 2},       {L"--size 16384x16384", 2}, {L"--frames", 2},
      {L"--seconds -1", 2},     {L"--bogus", 2},        {L"--frames 3 --fps 60", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "arguments: " << c.arguments);
    ChildProcess mixer = ChildProcess::startSibling(L"zarnmixer-sim.exe", c.arguments);
    EXPECT_EQ(mixer.wait(20000), std::optional<DWORD>(c.code));
  }
}

}  // namespace
