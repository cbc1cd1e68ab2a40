// ffmpeg as a real host: it finds the registered camera, lists its formats, and captures the
// reference mixer's pattern right way up with frame counters that move on.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>
#include <qedit.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "delivery/format_tags.h"
#include "link/capture_share_memory_mgr.h"
#include "link/test_pattern.h"
#include "link/vcam_param_channel.h"
#include "tests/e2e/bmp_image.h"
#include "tests/e2e/output_file.h"
#include "tests/e2e/pattern_check.h"
#include "tests/e2e/registered_module.h"
#include "tests/support/child_process.h"
#include "tests/support/install_layout.h"

namespace zarn::test {
namespace {

const wchar_t kFfmpeg[] =
    L"" ZARN_REPO_ROOT "\\node_modules\\@ffmpeg-installer\\win32-x64\\ffmpeg.exe";
const std::wstring kFfmpegFlags = L"-hide_banner -nostdin -y ";
const wchar_t kCameraInput[] = L" -f dshow -i \"video=ZarnCam Pro\"";
const wchar_t kFrameMapping[] =
    L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_SharedMemory_ZarnMixer";
const DWORD kHostTimeoutMs = 60000;
const CLSID kCamera = {0x60A485B6, 0x17AA, 0x4D91, {0x81, 0x39, 0x60, 0xC1, 0xA0, 0x95, 0xEE, 0xF6}};
const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

// A fresh folder under the temporary folder, removed with everything in it.
class TempFolder {
 public:
  TempFolder() { std::filesystem::create_directory(m_path); }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  std::wstring file(const std::wstring& name) const { return (m_path / name).wstring(); }

 private:
  static inline int s_serial = 0;
  const std::filesystem::path m_path =
      std::filesystem::temp_directory_path() /
      (L"zarn-e2e-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++s_serial));
};

std::wstring frameFile(const std::wstring& prefix, int index) {
  wchar_t number[16];
  swprintf(number, 16, L"%03d", index);
  return prefix + number + L".bmp";
}

// Whether `done` holds within `timeoutMs`, looked at every 50 ms: for what signals no event.
template <typename Done>
bool within(DWORD timeoutMs, Done done) {
  for (DWORD waited = 0; !done(); waited += 50, Sleep(50)) {
    if (waited >= timeoutMs) return false;
  }
  return true;
}

// The camera installed as on a user's machine: the module in <root>\bin, the application one
// folder up, where the camera looks for it.
class CameraInstallation : public InstallLayout {
 public:
  CameraInstallation() : InstallLayout(Layout::ApplicationOneUp) {
    CopyFileW((executableFolder() + L"ZarnVirtualCam.ax").c_str(), module().c_str(), FALSE);
  }
  ~CameraInstallation() { DeleteFileW(module().c_str()); }
  std::wstring module() const {
    return application().substr(0, application().rfind(L'\\')) + L"\\bin\\ZarnVirtualCam.ax";
  }
};

CameraInstallation& installation() {
  static CameraInstallation installed;
  return installed;
}

// Sets an event at the second sample that it sees.
struct SecondSample : ISampleGrabberCB {
  ~SecondSample() { CloseHandle(event); }
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    *ppv = riid == IID_IUnknown || riid == IID_ISampleGrabberCB ? this : nullptr;
    return *ppv ? S_OK : E_NOINTERFACE;
  }
  // Outlives the graph that calls it.
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP SampleCB(double, IMediaSample*) override {
    if (++samples == 2) SetEvent(event);
    return S_OK;
  }
  STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::atomic<int> samples{0};
};

// This process as a host of the registered camera: camera, sample grabber, null renderer.
class InProcessHost {
 public:
  InProcessHost() {
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                     reinterpret_cast<void**>(&m_graph));
    CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER,
                     IID_ICaptureGraphBuilder2, reinterpret_cast<void**>(&m_builder));
    for (int i = 0; i < 3; ++i) {
      CoCreateInstance(kFilters[i], nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                       reinterpret_cast<void**>(&m_filters[i]));
    }
  }
  ~InProcessHost() {
    if (m_control) m_control->Release();
    for (IBaseFilter* filter : m_filters) {
      if (filter) filter->Release();
    }
    if (m_builder) m_builder->Release();
    if (m_graph) m_graph->Release();
  }

  // Connects and runs; true once the second sample has passed.
  bool run() {
    if (!m_graph || !m_builder || !m_filters[0] || !m_filters[1] || !m_filters[2]) return false;
    for (IBaseFilter* filter : m_filters) m_graph->AddFilter(filter, nullptr);
    m_builder->SetFiltergraph(m_graph);
    ISampleGrabber* grabber = nullptr;
    m_filters[1]->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber));
    grabber->SetCallback(&m_samples, 0);
    grabber->Release();
    m_graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&m_control));
    // No category: a straight chain, with no tee.
    return SUCCEEDED(m_builder->RenderStream(nullptr, &MEDIATYPE_Video, m_filters[0], m_filters[1],
                                             m_filters[2])) &&
           SUCCEEDED(m_control->Run()) &&
           WaitForSingleObject(m_samples.event, 10000) == WAIT_OBJECT_0;
  }
  // The camera first, while its worker waits for a frame: the graph stops its renderers first,
  // after which how long the camera's own stop is on its way is a matter of luck.
  HRESULT stop() {
    const HRESULT hr = m_filters[0]->Stop();
    m_control->Stop();
    return hr;
  }

 private:
  const CLSID kFilters[3] = {kCamera, kSampleGrabber, kNullRenderer};
  IGraphBuilder* m_graph = nullptr;
  ICaptureGraphBuilder2* m_builder = nullptr;
  IBaseFilter* m_filters[3] = {};
  IMediaControl* m_control = nullptr;
  SecondSample m_samples;
};

class FfmpegHostTest : public ::testing::Test {
 protected:
  FfmpegHostTest() : FfmpegHostTest(executableFolder() + L"ZarnVirtualCam.ax") {}
  explicit FfmpegHostTest(const std::wstring& modulePath) : m_module(modulePath) {}

  void SetUp() override {
    ASSERT_NE(GetFileAttributesW(kFfmpeg), INVALID_FILE_ATTRIBUTES)
        << "ffmpeg.exe is missing; scripts/setup.sh installs it into node_modules";
    ASSERT_EQ(m_module.result(), S_OK);
  }

  // Runs `program` to its end, its output in m_output; its exit code, or -1 if it was stopped.
  int runToEnd(const std::wstring& program, const std::wstring& arguments,
               const std::wstring& logName) {
    ChildProcess child = startWithOutputFile(program, arguments, m_folder.file(logName));
    if (!child.valid()) return -1;
    const std::optional<DWORD> code = child.wait(kHostTimeoutMs);
    if (!code) child.kill();
    m_output = readFileBytes(m_folder.file(logName));
    return code ? int(*code) : -1;
  }
  int runFfmpeg(const std::wstring& arguments, const std::wstring& logName) {
    return runToEnd(kFfmpeg, kFfmpegFlags + arguments, logName);
  }

  // Starts the reference mixer and waits until its frame region exists, so that a host
  // attaches at its first try.
  void startMixer() {
    m_mixer = ChildProcess::startSibling(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
    ASSERT_TRUE(m_mixer.valid());
    ASSERT_TRUE(within(10000, [] {
      HANDLE mapping = OpenFileMappingW(FILE_MAP_READ, FALSE, kFrameMapping);
      return mapping && CloseHandle(mapping);
    })) << "the mixer made no frame region";
  }

  // Tells the mixer the host's request before the host opens, and waits until its newest frame
  // has that size. The frames published before it read a request are of the previous one, which
  // the host would get scaled or in the wrong layout; they are not what is checked here.
  void prepareMixerFor(int32_t width, int32_t height, uint32_t fourcc) {
    VCamParamChannel params;
    params.openOrCreate(1280, 720, 25, 0);
    params.writeVideoOutParam(uint32_t(width), uint32_t(height), 333333, fourcc);
    params.setOpeningProcessId(0);
    params.signalParamChange();
    CaptureShareMemoryMgr frames(L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY");
    frames.setEncrypted(true);
    ASSERT_TRUE(frames.attach(false));
    ASSERT_TRUE(within(5000, [&] {
      CaptureFrameRecord record;
      const bool published = frames.lockReadBuffer(record) != nullptr;
      if (published) frames.unLockReadBuffer();
      return published && int32_t(record.width) == width && int32_t(record.height) == height;
    })) << "the mixer did not follow the request for " << width << "x" << height;
  }

  std::wstring captureArguments(const std::wstring& size, const std::wstring& pixelFormat,
                                int frames, const std::wstring& prefix) const {
    // Passthrough: each sample becomes one file, nothing duplicated or dropped for a steady rate.
    return L"-video_size " + size + L" -pixel_format " + pixelFormat + L" -framerate 30" +
           kCameraInput + L" -vsync passthrough -frames:v " + std::to_wstring(frames) + L" \"" +
           m_folder.file(prefix) + L"%03d.bmp\"";
  }

  // Captures `frames` frames into <prefix>NNN.bmp; ffmpeg's exit code, its output in m_output.
  int capture(const std::wstring& size, const std::wstring& pixelFormat, int frames,
              const std::wstring& prefix) {
    return runFfmpeg(captureArguments(size, pixelFormat, frames, prefix), prefix + L".log");
  }

  // A first host capturing 640x480 for `frames` frames, once it has written its first one.
  ChildProcess startFirstHost(int frames) {
    ChildProcess first = startWithOutputFile(
        kFfmpeg, kFfmpegFlags + captureArguments(L"640x480", L"bgr24", frames, L"first"),
        m_folder.file(L"first.log"));
    const std::wstring firstFrame = m_folder.file(frameFile(L"first", 1));
    EXPECT_TRUE(within(kHostTimeoutMs, [&] {
      return GetFileAttributesW(firstFrame.c_str()) != INVALID_FILE_ATTRIBUTES;
    }))
        << readFileBytes(m_folder.file(L"first.log"));
    return first;
  }

  static uint32_t holder() {
    VCamParamChannel params;
    params.openOrCreate(1280, 720, 25, 0);
    return params.getOpeningProcessId();
  }

  RegisteredModule m_module;
  TempFolder m_folder;
  ChildProcess m_mixer;
  std::string m_output;
};

TEST_F(FfmpegHostTest, ListDevicesNamesTheCamera) {
  runFfmpeg(L"-list_devices true -f dshow -i dummy", L"devices.log");
  EXPECT_NE(m_output.find("\"ZarnCam Pro\""), std::string::npos) << m_output;
}

TEST_F(FfmpegHostTest, ListOptionsShowsRgbAndPlanarRows) {
  runFfmpeg(std::wstring(L"-list_options true") + kCameraInput, L"options.log");
  for (const char* row : {"pixel_format=bgr24  min s=640x480 fps=30 max s=640x480 fps=30",
                          "pixel_format=yuv420p  min s=1280x720 fps=30 max s=1280x720 fps=30"}) {
    EXPECT_NE(m_output.find(row), std::string::npos) << row << "\n" << m_output;
  }
}

TEST_F(FfmpegHostTest, CapturesPatternUprightWithAdvancingCounters) {
  struct Case {
    const wchar_t *size, *pixelFormat;
    int width, height;
    uint32_t fourcc;
    int tolerance;  // the planar route goes through a lossy colour conversion
  };
  const Case cases[] = {{L"640x480", L"bgr24", 640, 480, kTagRGB3, 8},
                        {L"1280x720", L"yuv420p", 1280, 720, kTagI420, 40}};
  const int frames = 30;
  startMixer();
  for (const Case& c : cases) {
    const std::wstring prefix = c.pixelFormat;
    SCOPED_TRACE(std::string(prefix.begin(), prefix.end()));
    prepareMixerFor(c.width, c.height, c.fourcc);
    ASSERT_EQ(capture(c.size, c.pixelFormat, frames, prefix), 0) << m_output;
    uint32_t firstCounter = 0, lastCounter = 0;
    for (int i = 1; i <= frames; ++i) {
      SCOPED_TRACE("frame " + std::to_string(i));
      BgraImage image;
      ASSERT_TRUE(readBmp(m_folder.file(frameFile(prefix, i)), image));
      ASSERT_EQ(image.width, c.width);
      ASSERT_EQ(image.height, c.height);
      EXPECT_TRUE(showsPatternUpright(image, c.tolerance));
      TestPatternStamp stamp = {};
      ASSERT_TRUE(readTestPatternStamp(image.pixels.data(), image.width, image.height, stamp));
      // A wait that runs out delivers the last frame again, so a counter may repeat, never fall.
      EXPECT_GE(stamp.counter, lastCounter);
      if (i == 1) firstCounter = stamp.counter;
      lastCounter = stamp.counter;
    }
    // The picture is live, not one frame over and over.
    EXPECT_GT(lastCounter, firstCounter);
  }
}

TEST_F(FfmpegHostTest, SecondHostIsRefusedWhileTheFirstCaptures) {
  startMixer();
  // Long enough to outlast the second host on a loaded machine: a first host that has stopped
  // has given the camera back.
  ChildProcess first = startFirstHost(450);
  EXPECT_NE(capture(L"640x480", L"bgr24", 5, L"second"), 0);
  // ffmpeg's words for a refused format call, rather than any other failure to open.
  EXPECT_NE(m_output.find("Could not set video options"), std::string::npos) << m_output;
  EXPECT_EQ(GetFileAttributesW(m_folder.file(frameFile(L"second", 1)).c_str()),
            INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(holder(), first.pid());
  EXPECT_EQ(first.wait(kHostTimeoutMs), std::optional<DWORD>(0))
      << readFileBytes(m_folder.file(L"first.log"));
}

// A host that stops and stays alive, as a call application does between calls, gives the camera
// back for good: its stream's last wait for a frame does not take the claim again.
TEST_F(FfmpegHostTest, HostThatStopsAndStaysAliveLeavesTheCameraToTheNext) {
  InProcessHost host;  // no mixer runs: the stream shows the stored picture
  // From the second sample on, the worker spends nearly all its time waiting for a frame.
  ASSERT_TRUE(host.run());
  EXPECT_EQ(host.stop(), S_OK);
  EXPECT_EQ(holder(), 0u);
  EXPECT_EQ(capture(L"640x480", L"bgr24", 3, L"next"), 0) << m_output;
}

// Hosts that build their graph with the capture graph builder get a tee in front of the camera,
// which copies each sample into another buffer of the camera's own allocator. Every run of each
// kind of graph has frames in every stream, and every stop returns.
TEST_F(FfmpegHostTest, BuilderGraphsHaveFramesInEveryRunAndStopEachTime) {
  startMixer();
  for (const std::wstring streams : {L"capture", L"preview", L"both"}) {
    SCOPED_TRACE(std::string(streams.begin(), streams.end()));
    // 0: frames in every stream of both runs, and each stop returned.
    const std::wstring arguments =
        L"--builder " + streams + L" --runs 2 --frames 10 --size 640x480 --format rgb24";
    EXPECT_EQ(runToEnd(executableFolder() + L"zarncam-probe.exe", arguments,
                       L"builder-" + streams + L".log"),
              0)
        << m_output;
    EXPECT_NE(m_output.find("run 2 of 2:"), std::string::npos) << m_output;
  }
}

// A host that asks for another pixel layout than the one before gets no frame of the old one
// read in the new: the first frame of every capture shows the pattern, not noise.
TEST_F(FfmpegHostTest, FirstFrameAfterALayoutChangeShowsThePattern) {
  const struct {
    const wchar_t* pixelFormat;
    int tolerance;
  } cases[] = {{L"bgr24", 8}, {L"yuv420p", 40}, {L"bgr24", 8}, {L"yuv420p", 40}};
  const int frames = 3;
  startMixer();
  int run = 0;
  for (const auto& c : cases) {
    const std::wstring prefix = L"layout" + std::to_wstring(++run) + L"-";
    SCOPED_TRACE("capture " + std::to_string(run));
    ASSERT_EQ(capture(L"1280x720", c.pixelFormat, frames, prefix), 0) << m_output;
    for (int i = 1; i <= frames; ++i) {
      BgraImage image;
      ASSERT_TRUE(readBmp(m_folder.file(frameFile(prefix, i)), image));
      EXPECT_TRUE(showsPatternUpright(image, c.tolerance)) << "frame " << i;
    }
  }
}

// The same tests against the installed camera, whose application can be started.
class InstalledCameraTest : public FfmpegHostTest {
 protected:
  InstalledCameraTest() : FfmpegHostTest(installation().module()) {}
  void SetUp() override {
    FfmpegHostTest::SetUp();
    DeleteFileW(installation().log().c_str());
    SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LOG", installation().log().c_str());
  }
  void TearDown() override { SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LOG", nullptr); }
};

TEST_F(InstalledCameraTest, WithoutAMixerTheHostGetsTheStoredPictureAndTheApplicationStartsOnce) {
  ASSERT_EQ(capture(L"1280x720", L"bgr24", 3, L"card"), 0) << m_output;
  for (int i = 1; i <= 3; ++i) {
    BgraImage image;
    ASSERT_TRUE(readBmp(m_folder.file(frameFile(L"card", i)), image));
    // The card is a navy to teal gradient: blue everywhere, and none of the pattern's red.
    for (int at : {0, image.width * image.height / 2, image.width * image.height - 1}) {
      EXPECT_GT(image.pixels[size_t(at) * 4], 0) << "frame " << i;
      EXPECT_LT(image.pixels[size_t(at) * 4 + 2], 128) << "frame " << i;
    }
  }
  Sleep(1000);
  const std::string launches = installation().waitForLog(1);
  EXPECT_EQ(std::count(launches.begin(), launches.end(), '\n'), 1) << launches;
}

TEST_F(InstalledCameraTest, RefusedHostHasTheApplicationNameTheHolder) {
  startMixer();
  ChildProcess first = startFirstHost(150);
  EXPECT_NE(capture(L"640x480", L"bgr24", 5, L"second"), 0);
  const std::string launches = installation().waitForLog(1);
  const std::string address = "\"zarncampro://VirtualCamBeUsed/name=ffmpeg.exe&parentName=";
  EXPECT_NE(launches.find(address), std::string::npos) << launches;
  EXPECT_NE(launches.find("&pid=" + std::to_string(first.pid()) + "\""), std::string::npos)
      << launches;
  first.kill();
}

TEST_F(InstalledCameraTest, HolderKilledWithoutStopIsClearedByTheNextHost) {
  startMixer();
  ChildProcess first = startFirstHost(150);
  const DWORD killed = first.pid();
  first.kill();
  EXPECT_EQ(holder(), killed);
  EXPECT_EQ(capture(L"640x480", L"bgr24", 5, L"next"), 0) << m_output;
  EXPECT_NE(GetFileAttributesW(m_folder.file(frameFile(L"next", 5)).c_str()),
            INVALID_FILE_ATTRIBUTES);
}

}  // namespace
}  // namespace zarn::test
