// Real hosts of the registered camera: ffmpeg finds it, lists its formats, and captures the
// reference mixer's pattern right way up with frame counters that move on; a host that lets go
// of the camera can unload the module.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>
#include <qedit.h>
#include <tlhelp32.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "delivery/format_tags.h"
#include "filter/vcam.h"
#include "link/capture_share_memory_mgr.h"
#include "link/test_pattern.h"
#include "link/vcam_param_channel.h"
#include "tests/e2e/registered_camera.h"
#include "tests/support/install_layout.h"

// In strmiids, declared by no header of the toolchain.
EXTERN_C const CLSID CLSID_SampleGrabber, CLSID_NullRenderer;

namespace zarn::test {
namespace {

using Microsoft::WRL::ComPtr;

// The ffmpeg npm package, which scripts/setup.sh installs.
const wchar_t kFfmpeg[] =
    L"" ZARN_REPO_ROOT "\\node_modules\\@ffmpeg-installer\\win32-x64\\ffmpeg.exe";
const wchar_t kCameraInput[] = L" -f dshow -i \"video=ZarnCam Pro\"";
const DWORD kHostTimeoutMs = 60000;

// Success when each quadrant of the body mostly shows its own colour, each channel within
// `tolerance`: a picture upside down or mirrored fails, the moving bar does not.
::testing::AssertionResult showsPatternUpright(const uint8_t* frame, int width, int height,
                                               int tolerance) {
  // Quadrants in reading order: top left, top right, bottom left, bottom right.
  const TestPatternColour colours[] = {kPatternTopLeft, kPatternTopRight, kPatternBottomLeft,
                                       kPatternBottomRight};
  const int half = width / 2;
  // Middle rows of the body's halves; the stamp strip takes the top eighth.
  const int rows[] = {(height / 8 + height / 2) / 2, height * 3 / 4};
  for (int q = 0; q < 4; ++q) {
    const int y = rows[q / 2], first = q % 2 * half;
    int matching = 0;
    for (int x = first; x < first + half; ++x) {
      const uint8_t* pixel = frame + (y * width + x) * 4;
      matching += std::abs(pixel[0] - colours[q].blue) <= tolerance &&
                  std::abs(pixel[1] - colours[q].green) <= tolerance &&
                  std::abs(pixel[2] - colours[q].red) <= tolerance;
    }
    // The grey bar covers a sixteenth of a quadrant at most.
    if (matching * 10 < half * 8) {
      return ::testing::AssertionFailure()
             << "quadrant " << q << ": " << matching << " of " << half << " pixels in row " << y;
    }
  }
  return ::testing::AssertionSuccess();
}

// Whether any process runs the program file `name`.
bool programRuns(const wchar_t* name) {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  BOOL more = Process32FirstW(snapshot, &entry);
  while (more && _wcsicmp(entry.szExeFile, name) != 0) more = Process32NextW(snapshot, &entry);
  CloseHandle(snapshot);
  return more;
}

// The camera installed as on a user's machine: the module in <root>\bin, the application one
// folder up, where the camera looks for it.
InstallLayout& installation() {
  static InstallLayout installed(Layout::ApplicationOneUp, L"ZarnVirtualCam.ax");
  return installed;
}

// Sets its auto-reset event at each sample that it sees.
struct SampleSignal : ISampleGrabberCB {
  ~SampleSignal() { CloseHandle(event); }
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    *ppv = riid == IID_IUnknown || riid == IID_ISampleGrabberCB ? this : nullptr;
    return *ppv ? S_OK : E_NOINTERFACE;
  }
  // Outlives the graph that calls it.
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP SampleCB(double, IMediaSample*) override { return SetEvent(event) ? S_OK : E_FAIL; }
  STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

  const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

class FfmpegHostTest : public RegisteredCameraTest {
 protected:
  using RegisteredCameraTest::RegisteredCameraTest;

  // Runs `program` to its end, its output in m_output; its exit code, or -1 if it was stopped.
  int runToEnd(const std::wstring& program, const std::wstring& arguments) {
    ChildProcess child = ChildProcess::startWithOutput(program, arguments);
    const std::optional<DWORD> code = child.wait(kHostTimeoutMs);
    m_output = child.output();
    return code ? int(*code) : -1;
  }

  void startMixer() {
    m_mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
    ASSERT_TRUE(m_mixer.running()) << m_mixer.output();
  }

  // Tells the mixer the host's request before the host opens, and waits until its newest frame
  // has that size: the frames published before it reads a request are of the previous one.
  void prepareMixerFor(int32_t width, int32_t height, uint32_t fourcc) {
    VCamParamChannel params;
    params.openOrCreate(1280, 720, 25, 0);
    params.writeVideoOutParam(uint32_t(width), uint32_t(height), 333333, fourcc);
    params.setOpeningProcessId(0);
    params.signalParamChange();
    CaptureShareMemoryMgr frames(L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY");
    frames.setEncrypted(true);
    ASSERT_TRUE(frames.attach(false));
    ASSERT_TRUE(waitUntil(5000, [&] {
      CaptureFrameRecord record;
      const bool published = frames.lockReadBuffer(record) != nullptr;
      if (published) frames.unLockReadBuffer();
      return published && int32_t(record.width) == width && int32_t(record.height) == height;
    })) << "the mixer did not follow the request for " << width << "x" << height;
  }

  static std::wstring captureArguments(int width, int height, const std::wstring& pixelFormat,
                                       int frames, const std::wstring& output) {
    // Passthrough: each sample becomes one frame, nothing duplicated or dropped for a steady rate.
    return L"-hide_banner -nostdin -y -video_size " + std::to_wstring(width) + L"x" +
           std::to_wstring(height) + L" -pixel_format " + pixelFormat + L" -framerate 30" +
           kCameraInput + L" -vsync passthrough -frames:v " + std::to_wstring(frames) +
           L" " + output;
  }

  // Whether ffmpeg captured exactly `frames` frames of that size; they are in m_frames, one
  // after the other in BGRA, top row first.
  ::testing::AssertionResult captured(int width, int height, const std::wstring& pixelFormat,
                                      int frames) {
    const std::wstring file =
        (std::filesystem::temp_directory_path() / L"zarn-frames.bgra").wstring();
    const std::wstring output = L"-f rawvideo -pix_fmt bgra \"" + file + L"\"";
    const int code = runToEnd(kFfmpeg, captureArguments(width, height, pixelFormat, frames, output));
    m_frames = readFileBytes(file);
    DeleteFileW(file.c_str());
    m_frameBytes = size_t(width) * height * 4;
    if (code == 0 && m_frames.size() == frames * m_frameBytes) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "exit code " << code << ", " << m_frames.size()
                                         << " bytes of frames\n" << m_output;
  }
  const uint8_t* frame(int index) const {
    return reinterpret_cast<const uint8_t*>(m_frames.data()) + index * m_frameBytes;
  }

  static uint32_t holder() {
    VCamParamChannel params;
    params.openOrCreate(1280, 720, 25, 0);
    return params.getOpeningProcessId();
  }

  ChildProcess m_mixer;
  std::string m_output;
  std::string m_frames;
  size_t m_frameBytes = 0;
};

TEST_F(FfmpegHostTest, ListOptionsShowsRgbAndPlanarRows) {
  runToEnd(kFfmpeg, std::wstring(L"-hide_banner -list_options true") + kCameraInput);
  // The catalogue has no NV12 row, so these three are every format ffmpeg can ask for.
  for (const char* row : {"pixel_format=bgr24  min s=640x480 fps=30 max s=640x480 fps=30",
                          "pixel_format=bgr0  min s=720x1280 fps=30 max s=720x1280 fps=30",
                          "pixel_format=yuv420p  min s=1280x720 fps=30 max s=1280x720 fps=30"}) {
    EXPECT_NE(m_output.find(row), std::string::npos) << row << "\n" << m_output;
  }
}

// Every format ffmpeg can ask for, in the quadrants' places and colours. The mixer is told the
// first three requests beforehand; the others it learns from the host, so their first frames
// follow a change of layout and must not be the old layout read as the new.
TEST_F(FfmpegHostTest, CapturesPatternUprightWithAdvancingCountersInEveryLayout) {
  const struct {
    const wchar_t* pixelFormat;
    int width, height;
    uint32_t toldFourcc;  // 0: not told
  } cases[] = {{L"bgr24", 640, 480, kTagRGB3}, {L"yuv420p", 1280, 720, kTagI420},
               {L"bgr0", 720, 1280, kTagRGB4}, {L"bgr24", 1280, 720, 0},
               {L"yuv420p", 1280, 720, 0},     {L"bgr0", 640, 480, 0}};
  const int frames = 30;
  startMixer();
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.width) + (c.toldFourcc ? " told" : " not told"));
    if (c.toldFourcc) prepareMixerFor(c.width, c.height, c.toldFourcc);
    ASSERT_TRUE(captured(c.width, c.height, c.pixelFormat, frames));
    // The planar route goes through a lossy colour conversion.
    const int tolerance = c.pixelFormat == std::wstring(L"yuv420p") ? 40 : 8;
    uint32_t firstCounter = 0, lastCounter = 0;
    for (int i = 0; i < frames; ++i) {
      SCOPED_TRACE("frame " + std::to_string(i));
      EXPECT_TRUE(showsPatternUpright(frame(i), c.width, c.height, tolerance));
      TestPatternStamp stamp = {};
      ASSERT_TRUE(readTestPatternStamp(frame(i), c.width, c.height, stamp));
      // A wait that runs out delivers the last frame again, so a counter may repeat, never fall.
      EXPECT_GE(stamp.counter, lastCounter);
      if (i == 0) firstCounter = stamp.counter;
      lastCounter = stamp.counter;
    }
    // The picture is live, not one frame over and over.
    EXPECT_GT(lastCounter, firstCounter);
  }
}

// A host that stops and stays alive, as a call application does between calls, gives the camera
// back for good: its stream's last wait for a frame does not take the claim again.
TEST_F(FfmpegHostTest, HostThatStopsAndStaysAliveLeavesTheCameraToTheNext) {
  // This process as the host, with no mixer: camera, sample grabber and null renderer.
  SampleSignal samples;
  ComPtr<IGraphBuilder> graph;
  ComPtr<ICaptureGraphBuilder2> builder;
  ComPtr<IBaseFilter> filters[3];
  ComPtr<ISampleGrabber> grabber;
  ComPtr<IMediaControl> control;
  const CLSID classes[3] = {CLSID_ZarnVirtualCam, CLSID_SampleGrabber, CLSID_NullRenderer};
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(&graph)), S_OK);
  ASSERT_EQ(CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(&builder)), S_OK);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(CoCreateInstance(classes[i], nullptr, CLSCTX_INPROC_SERVER,
                               IID_PPV_ARGS(&filters[i])), S_OK);
    ASSERT_EQ(graph->AddFilter(filters[i].Get(), nullptr), S_OK);
  }
  ASSERT_EQ(filters[1].As(&grabber), S_OK);
  ASSERT_EQ(graph.As(&control), S_OK);
  grabber->SetCallback(&samples, 0);
  builder->SetFiltergraph(graph.Get());
  // No category: a straight chain, with no tee.
  ASSERT_EQ(builder->RenderStream(nullptr, &MEDIATYPE_Video, filters[0].Get(), filters[1].Get(),
                                  filters[2].Get()), S_OK);
  ASSERT_TRUE(SUCCEEDED(control->Run()));
  // From the second sample on, the worker spends nearly all its time waiting for a frame.
  for (int sample = 0; sample < 2; ++sample) {
    ASSERT_EQ(WaitForSingleObject(samples.event, 10000), WAIT_OBJECT_0);
  }
  // The camera first: the graph stops its renderers first, after which how long the camera's own
  // stop is on its way is a matter of luck.
  EXPECT_EQ(filters[0]->Stop(), S_OK);
  control->Stop();
  EXPECT_EQ(holder(), 0u);
  EXPECT_TRUE(captured(640, 480, L"bgr24", 3));
}

// Hosts that build their graph with the capture graph builder get a tee in front of the camera,
// which copies each sample into another buffer of the camera's own allocator. Every run of each
// kind of graph has frames in every stream, and every stop returns.
TEST_F(FfmpegHostTest, BuilderGraphsHaveFramesInEveryRunAndStopEachTime) {
  startMixer();
  for (const std::wstring streams : {L"capture", L"preview", L"both"}) {
    SCOPED_TRACE(std::string(streams.begin(), streams.end()));
    EXPECT_EQ(runToEnd(executableFolder() + L"zarncam-probe.exe",
                       L"--builder " + streams + L" --runs 2 --frames 10 --size 640x480 --format rgb24"),
              0)
        << m_output;
    EXPECT_NE(m_output.find("run 2 of 2:"), std::string::npos) << m_output;
  }
}

// The same tests against the installed camera, whose application can be started.
class InstalledCameraTest : public FfmpegHostTest {
 protected:
  InstalledCameraTest() : FfmpegHostTest(installation().module()) {}
  void SetUp() override {
    RegisteredCameraTest::SetUp();
    DeleteFileW(installation().log().c_str());
  }
};

TEST_F(InstalledCameraTest, WithoutAMixerTheHostGetsTheStoredPictureAndTheApplicationStartsOnce) {
  ASSERT_TRUE(captured(1280, 720, L"bgr24", 3));
  for (int i = 0; i < 3; ++i) {
    // The card is a navy to teal gradient: blue everywhere, and none of the pattern's red.
    for (int at : {0, 1280 * 720 / 2, 1280 * 720 - 1}) {
      EXPECT_GT(frame(i)[at * 4], 0) << "frame " << i;
      EXPECT_LT(frame(i)[at * 4 + 2], 128) << "frame " << i;
    }
  }
  // The host has ended, so every application it started has written its line once none runs.
  ASSERT_TRUE(waitUntil(20000, [] { return !programRuns(L"zarncam pro.exe"); }));
  const std::string launches = installation().waitForLog(1);
  EXPECT_EQ(std::count(launches.begin(), launches.end(), '\n'), 1) << launches;
}

// A holder killed without a stop keeps its claim until the next host clears it.
TEST_F(InstalledCameraTest, SecondHostIsRefusedAndTheApplicationNamesTheHolderUntilItIsKilled) {
  startMixer();
  // Long enough to outlast the second host on a loaded machine: a first host that has stopped
  // has given the camera back. Once it has read frames, its graph runs and the camera is its.
  ChildProcess first = ChildProcess::startWithOutput(
      kFfmpeg, captureArguments(640, 480, L"bgr24", 900, L"-f null -"));
  ASSERT_TRUE(waitUntil(kHostTimeoutMs, [&] {
    return first.output().find("Input #0") != std::string::npos;
  })) << first.output();
  EXPECT_FALSE(captured(640, 480, L"bgr24", 5));
  // ffmpeg's words for a refused format call, rather than any other failure to open.
  EXPECT_NE(m_output.find("Could not set video options"), std::string::npos) << m_output;
  EXPECT_TRUE(m_frames.empty());
  const std::string launches = installation().waitForLog(1);
  const std::string address = "\"zarncampro://VirtualCamBeUsed/name=ffmpeg.exe&parentName=";
  EXPECT_NE(launches.find(address), std::string::npos) << launches;
  EXPECT_NE(launches.find("&pid=" + std::to_string(first.pid()) + "\""), std::string::npos)
      << launches;
  first.kill();
  EXPECT_EQ(holder(), first.pid());
  EXPECT_TRUE(captured(640, 480, L"bgr24", 5));
}

// Exit codes: 0 unloaded, 1 still loaded, 2 to 4 the camera could not be used.
ZARN_CHILD_ROLE(host_that_lets_go) {
  const wchar_t kModuleName[] = L"ZarnVirtualCam.ax";
  CoInitialize(nullptr);
  IBaseFilter* filter = nullptr;
  const HRESULT created =
      CoCreateInstance(CLSID_ZarnVirtualCam, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter));
  if (FAILED(created)) return 2;
  IAMStreamConfig* config = nullptr;
  AM_MEDIA_TYPE* type = nullptr;
  // A format call logs, which starts the log's thread.
  HRESULT hr = filter->QueryInterface(IID_PPV_ARGS(&config));
  if (SUCCEEDED(hr)) hr = config->GetFormat(&type);
  if (SUCCEEDED(hr)) hr = config->SetFormat(type);
  if (type) {
    CoTaskMemFree(type->pbFormat);
    CoTaskMemFree(type);
  }
  if (config) config->Release();
  filter->Release();
  if (FAILED(hr)) return 3;
  if (!GetModuleHandleW(kModuleName)) return 4;
  CoFreeUnusedLibrariesEx(0, 0);
  CoFreeUnusedLibrariesEx(0, 0);
  const bool loaded = GetModuleHandleW(kModuleName) != nullptr;
  CoUninitialize();
  return loaded ? 1 : 0;
}

// Nothing of the module's may keep it loaded once a host has let go, and nothing may run in it
// afterwards.
using ModuleUnload = RegisteredCameraTest;

TEST_F(ModuleUnload, HostThatReleasedEverythingUnloadsTheModule) {
  ChildProcess host = ChildProcess::startRole("host_that_lets_go");
  EXPECT_EQ(host.wait(60000), std::optional<DWORD>(0));
}

}  // namespace
}  // namespace zarn::test
