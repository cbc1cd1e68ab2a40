// A host that lies to the camera: one filter in this process, its pin in the system's filter graph
// beside a sink that signals every sample, driven by seeded random calls with malformed media
// types, odd size lists, out-of-range indices, null out-pointers and state changes in any order,
// while the reference mixer comes and goes. The driver runs in a child, so that a crash is
// reported with its seed and its last calls instead of taking the test runner down.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "diag/log_line_queue.h"
#include "filter/media_subtypes.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"
#include "host/platform.h"
#include "link/vcam_param_channel.h"
#include "media/unknown.h"
#include "tests/delivery/guarded_buffer.h"
#include "tests/media/test_filters.h"
#include "tests/support/child_process.h"

namespace zarn::test {
namespace {

enum Call {
  kSetFormat, kSetFormatRow, kCheckMediaType, kGetStreamCaps, kGetFormat, kSetOutputSizes,
  kGetOutputSize, kSetFrameRate, kFilterRun, kFilterPause, kFilterStop, kGraphRun, kGraphPause,
  kGraphStop, kConnect, kDisconnect, kAwaitSample, kMixer, kCallKinds
};
const char* const kCallNames[kCallKinds] = {
    "SetFormat", "SetFormat of a row", "CheckMediaType", "GetStreamCaps", "GetFormat",
    "SetOutputWidthHeight", "GetOutputWidthHeight", "SetFrameRate", "filter Run", "filter Pause",
    "filter Stop", "graph Run", "graph Pause", "graph Stop", "ConnectDirect", "Disconnect",
    "await sample", "mixer start/kill"};
// How often each call comes, out of their sum; the mixer toggles apart, far more rarely.
const int kWeights[kMixer] = {4, 3, 2, 2, 1, 2, 1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 2};
const DWORD kSampleWaitMs = 400;

// The last calls, printed by a crash.
std::string g_recent[12];
std::atomic<unsigned> g_calls{0};
uint32_t g_seed = 0;
DWORD g_hostThread = 0;

// Prints the code, the thread, the faulting stack (for addr2line) and the last calls.
LONG WINAPI reportCrash(EXCEPTION_POINTERS* info) {
  std::printf("[hostile host] CRASH 0x%08lX on the %s thread, seed %u, after call %u; stack:",
              info->ExceptionRecord->ExceptionCode,
              GetCurrentThreadId() == g_hostThread ? "host's" : "worker", g_seed, g_calls.load());
  CONTEXT context = *info->ContextRecord;
  for (int frame = 0; frame < 10 && context.Rip; ++frame) {
    std::printf(" %llx", static_cast<unsigned long long>(context.Rip));
    DWORD64 base = 0, frameBase = 0;
    void* handlerData = nullptr;
    RUNTIME_FUNCTION* entry = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
    if (!entry) break;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, entry, &context, &handlerData,
                     &frameBase, nullptr);
  }
  std::printf("\nthe last calls:\n");
  for (unsigned i = 12; i > 0; --i) {
    if (g_calls >= i) std::printf("  %s\n", g_recent[(g_calls - i) % 12].c_str());
  }
  std::fflush(stdout);
  return EXCEPTION_EXECUTE_HANDLER;
}

class QuietPlatform : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t*, const wchar_t*) override { return false; }
  uint32_t milliseconds() override { return GetTickCount(); }
};

// Signals each sample it receives. A write past a sample needs no check here: the framework's
// buffers end at the end of their pages, so the frame paths fault on it.
class SignallingPin : public TestInputPin {
 public:
  using TestInputPin::TestInputPin;
  ~SignallingPin() override { CloseHandle(arrived); }
  STDMETHODIMP Receive(IMediaSample* sample) override {
    SetEvent(arrived);
    return TestInputPin::Receive(sample);
  }
  const HANDLE arrived = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

class SignallingSink : public TestSinkFilter {
 public:
  CBasePin* GetPin(int n) override { return n == 0 ? &in : nullptr; }
  CCritSec lock;
  SignallingPin in{this, &lock};
};

// A host's media type whose format block holds exactly cbFormat bytes and ends at a guard page.
struct HostType {
  AM_MEDIA_TYPE type = {};
  std::unique_ptr<GuardedBuffer> block;
};

class HostileHost {
 public:
  explicit HostileHost(uint32_t seed) : m_random(seed) {}

  uint32_t pick(uint32_t n) { return m_random() % n; }

  int32_t side() {
    switch (pick(6)) {
      case 0: return -int32_t(pick(5000));
      case 1: return int32_t(pick(192));
      case 2: return 3841 + int32_t(pick(1 << 20));
      case 3: return int32_t(m_random());
      default: return 192 + int32_t(pick(3649));
    }
  }

  void makeType(HostType& t) {
    static const GUID kSubtypes[] = {MEDIASUBTYPE_RGB24, MEDIASUBTYPE_RGB32, MEDIASUBTYPE_I420,
                                     MEDIASUBTYPE_NV12,  MEDIASUBTYPE_YUY2,  GUID_NULL};
    static const WORD kBits[] = {24, 32, 12, 12, 16, 0};
    static const DWORD kCompression[] = {BI_RGB, BI_RGB, 0x30323449, 0x3231564E, 0x32595559, 7};
    // Half the types agree with themselves, so that many pass the checks and reach a frame.
    const uint32_t kind = pick(6);
    const bool agreeing = pick(2) == 0;
    VIDEOINFOHEADER info = {};
    info.AvgTimePerFrame = pick(4) == 0 ? int64_t(m_random()) << pick(40) : 333333;
    BITMAPINFOHEADER& header = info.bmiHeader;
    header.biSize = sizeof(header);
    header.biPlanes = 1;
    header.biWidth = agreeing ? 192 + int32_t(pick(1700)) : side();
    header.biHeight = agreeing ? 192 + int32_t(pick(1100)) : side();
    header.biBitCount = agreeing ? kBits[kind] : kBits[pick(6)];
    header.biCompression = agreeing ? kCompression[kind] : kCompression[pick(6)];
    const uint32_t frame = uint32_t(header.biWidth) * uint32_t(header.biHeight) *
                           header.biBitCount / 8;
    const uint32_t sizes[] = {frame, frame ? pick(frame) : 0, 0, uint32_t(m_random())};
    header.biSizeImage = sizes[pick(4)];

    t.type.majortype = pick(8) ? MEDIATYPE_Video : MEDIATYPE_Audio;
    t.type.subtype = agreeing ? kSubtypes[kind] : kSubtypes[pick(6)];
    const GUID kFormats[] = {FORMAT_VideoInfo2, GUID_NULL, FORMAT_WaveFormatEx};
    t.type.formattype = pick(4) ? FORMAT_VideoInfo : kFormats[pick(3)];
    t.type.bFixedSizeSamples = pick(2);
    t.type.lSampleSize = pick(2) ? header.biSizeImage : m_random();
    const uint32_t full = sizeof(info);
    const uint32_t lengths[] = {full, 0, 1 + pick(full - 1),
                                full + pick(200)};
    t.type.cbFormat = lengths[pick(8) < 5 ? 0 : 1 + pick(3)];
    t.block = std::make_unique<GuardedBuffer>(t.type.cbFormat, uint8_t(m_random()));
    std::memcpy(t.block->data(), &info, std::min<size_t>(t.type.cbFormat, sizeof(info)));
    t.type.pbFormat = pick(32) ? t.block->data() : nullptr;
  }

  OutputSizeList sizeList() {
    OutputSizeList list(pick(5));
    for (auto& entry : list) entry = {side(), side()};
    return list;
  }

  std::mt19937 m_random;
};

ChildProcess startQuietMixer() {
  SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
  HANDLE nul = CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                           OPEN_EXISTING, 0, nullptr);
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  SetStdHandle(STD_OUTPUT_HANDLE, nul);
  ChildProcess mixer = ChildProcess::startSibling(L"zarnmixer-sim.exe", L"--fps 60 --seconds 900");
  SetStdHandle(STD_OUTPUT_HANDLE, out);
  CloseHandle(nul);
  return mixer;
}

}  // namespace

// args: seed, calls, seconds (0: no time bound). Exits 0 when every check held.
ZARN_CHILD_ROLE(hostile_host) {
  g_seed = uint32_t(std::stoul(args.at(0)));
  const unsigned calls = std::stoul(args.at(1));
  const ULONGLONG seconds = std::stoull(args.at(2));
  const ULONGLONG deadline = seconds ? GetTickCount64() + seconds * 1000 : ~0ull;
  g_hostThread = GetCurrentThreadId();
  SetUnhandledExceptionFilter(reportCrash);
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  QuietPlatform quiet;
  setPlatform(&quiet);
  LogLineQueue::create();
  VCamParamChannel mixerSide;
  mixerSide.openOrCreate(1280, 720, 25, 0);
  mixerSide.setEnableVCamConnect(true);
  mixerSide.setOpeningProcessId(0);
  const LONG objectsBefore = CBaseObject::ObjectsActive();

  HRESULT created = S_OK;
  auto* filter = static_cast<CVCam*>(CVCam::CreateInstance(nullptr, &created));
  filter->AddRef();
  CVCamStream* pin = filter->stream();
  auto* sink = new SignallingSink();
  sink->AddRef();
  sink->in.offerAllocator = true;
  IGraphBuilder* graph = nullptr;
  IMediaControl* control = nullptr;
  CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                   reinterpret_cast<void**>(&graph));
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
  graph->AddFilter(filter, L"camera");
  graph->AddFilter(sink, L"sink");

  HostileHost host(g_seed);
  ChildProcess mixer;
  unsigned counts[kCallKinds] = {}, refusals[kCallKinds] = {};
  int samples = 0, sinkRefsKept = 0;
  int total = 0;
  for (int w : kWeights) total += w;
  for (unsigned n = 0; n < calls && GetTickCount64() < deadline; ++n) {
    Call call = kMixer;
    if (host.pick(300)) {
      int roll = int(host.pick(total));
      for (call = Call(0); roll >= kWeights[call]; call = Call(call + 1)) roll -= kWeights[call];
    }
    HostType t;
    host.makeType(t);
    const bool nullArgument = host.pick(20) == 0;
    AM_MEDIA_TYPE* type = nullArgument ? nullptr : &t.type;
    const OutputSizeList list = host.sizeList();
    const int indices[] = {-1, INT_MIN, int(host.pick(40)), INT_MAX};
    const int index = indices[host.pick(4)];
    const bool nullCaps = host.pick(8) == 0;
    const bool connected = pin->IsConnected();
    char line[240];
    int used = std::snprintf(line, sizeof(line), "%s%s", kCallNames[call],
                             nullArgument ? " (null)" : "");
    if (call == kSetFormat || call == kCheckMediaType || call == kConnect) {
      const auto& h = reinterpret_cast<VIDEOINFOHEADER*>(t.block->data())->bmiHeader;
      used += std::snprintf(line + used, sizeof(line) - used,
                            " major %08lx sub %08lx format %08lx cbFormat %lu pbFormat %p",
                            t.type.majortype.Data1, t.type.subtype.Data1,
                            t.type.formattype.Data1, t.type.cbFormat, t.type.pbFormat);
      if (t.type.cbFormat >= sizeof(VIDEOINFOHEADER)) {
        std::snprintf(line + used, sizeof(line) - used, " %ldx%ld bits %u compression %08lx "
                      "sizeImage %lu", h.biWidth, h.biHeight, h.biBitCount, h.biCompression,
                      h.biSizeImage);
      }
    } else if (call == kGetStreamCaps || call == kSetFormatRow) {
      std::snprintf(line + used, sizeof(line) - used, " index %d%s", index,
                    !nullCaps ? "" : call == kGetStreamCaps ? " caps null" : " short image");
    } else if (call == kSetOutputSizes) {
      for (const auto& [w, h] : list) {
        used += std::snprintf(line + used, sizeof(line) - used, " %dx%d", w, h);
      }
    }
    g_recent[g_calls % 12] = line;
    ++g_calls;
    HRESULT hr = S_OK;
    switch (call) {
      case kSetFormat:
        hr = pin->SetFormat(type);
        // The pin keeps the reference that ConnectedTo gave it, as hosts have always seen.
        if (hr == S_OK && connected) ++sinkRefsKept;
        break;
      case kSetFormatRow: {
        // As a real host does, from the capabilities; a short image size now and then.
        AM_MEDIA_TYPE* row = nullptr;
        VIDEO_STREAM_CONFIG_CAPS caps;
        if (pin->GetStreamCaps(index & 31, &row, reinterpret_cast<BYTE*>(&caps)) != S_OK) break;
        auto& header = reinterpret_cast<VIDEOINFOHEADER*>(row->pbFormat)->bmiHeader;
        if (nullCaps) header.biSizeImage = host.pick(header.biSizeImage);
        hr = pin->SetFormat(row);
        if (hr == S_OK && connected) ++sinkRefsKept;
        DeleteMediaType(row);
        break;
      }
      case kCheckMediaType:
        hr = pin->CheckMediaType(static_cast<CMediaType*>(type));
        break;
      case kGetStreamCaps: {
        AM_MEDIA_TYPE* got = nullptr;
        GuardedBuffer caps(sizeof(VIDEO_STREAM_CONFIG_CAPS));
        hr = pin->GetStreamCaps(index, nullArgument ? nullptr : &got,
                                nullCaps ? nullptr : caps.data());
        if (got) DeleteMediaType(got);
        break;
      }
      case kGetFormat: {
        AM_MEDIA_TYPE* got = nullptr;
        hr = pin->GetFormat(&got);
        if (got) DeleteMediaType(got);
        break;
      }
      case kSetOutputSizes:
        hr = pin->SetOutputWidthHeight(nullArgument ? nullptr : &list);
        break;
      case kGetOutputSize: {
        int width = 0, height = 0;
        hr = pin->GetOutputWidthHeight(&width, &height);
        break;
      }
      case kSetFrameRate: hr = pin->SetFrameRate(host.pick(6)); break;
      case kFilterRun: hr = filter->Run(0); break;
      case kFilterPause: hr = filter->Pause(); break;
      case kFilterStop: hr = filter->Stop(); break;
      case kGraphRun: hr = control->Run(); break;
      case kGraphPause: hr = control->Pause(); break;
      case kGraphStop: hr = control->Stop(); break;
      case kConnect: {
        // Connections are made stopped; half the time the host stops first. The type is its own,
        // none, or the current one.
        if (index < 0) filter->Stop();
        AM_MEDIA_TYPE* current = nullptr;
        if (nullCaps) pin->GetFormat(&current);
        hr = graph->ConnectDirect(pin, &sink->in, current ? current : host.pick(2) ? nullptr : type);
        if (current) DeleteMediaType(current);
        break;
      }
      case kDisconnect:
        // Alone, the pin's own Disconnect leaves the sink believing it is still connected.
        hr = host.pick(2) ? pin->Disconnect()
                          : (graph->Disconnect(pin), graph->Disconnect(&sink->in));
        break;
      case kAwaitSample: {
        FILTER_STATE state = State_Stopped;
        filter->GetState(0, &state);
        if (!connected || state == State_Stopped) break;
        ResetEvent(sink->in.arrived);
        hr = WaitForSingleObject(sink->in.arrived, kSampleWaitMs) == WAIT_OBJECT_0 ? S_OK : E_FAIL;
        samples += hr == S_OK;
        break;
      }
      case kMixer:
        if (mixer.running()) {
          mixer.kill();
        } else {
          mixer = startQuietMixer();
        }
        break;
      case kCallKinds:
        break;
    }
    ++counts[call];
    refusals[call] += FAILED(hr);
  }

  // The graph's Stop passes a filter that was run behind its back; the filter's own is the last.
  control->Stop();
  filter->Stop();
  const uint32_t claim = mixerSide.getOpeningProcessId();
  mixer.kill();
  graph->Disconnect(pin);
  graph->Disconnect(&sink->in);
  graph->RemoveFilter(filter);
  graph->RemoveFilter(sink);
  control->Release();
  graph->Release();
  const ULONG filterRefs = filter->Release();
  const int received = sink->in.received;
  const ULONG sinkRefs = sink->Release();
  for (ULONG left = sinkRefs; left > 0; --left) sink->Release();
  const LONG objectsLeft = CBaseObject::ObjectsActive() - objectsBefore;
  setPlatform(nullptr);

  std::printf("[hostile host] seed %u: %u calls, %d samples received, %d awaited\n", g_seed,
              g_calls.load(), received, samples);
  for (int k = 0; k < kCallKinds; ++k) {
    std::printf("  %-22s %6u calls %6u refused\n", kCallNames[k], counts[k], refusals[k]);
  }
  std::printf("  claim after the last stop %u, filter references left %lu, sink references left "
              "%lu (kept by SetFormat %d), live objects left %ld\n",
              claim, filterRefs, sinkRefs, sinkRefsKept, objectsLeft);
  std::fflush(stdout);
  const bool clean = claim == 0 && filterRefs == 0 &&
                     sinkRefs == ULONG(sinkRefsKept) && objectsLeft == 0;
  return clean ? 0 : 1;
}

namespace {

std::string environment(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value && *value ? value : fallback;
}

TEST(HostileHost, RandomAndMalformedCallsCrashNothingLeakNothingAndLeaveTheCameraFree) {
  // A fixed short run by default; scripts/hostile-host.sh gives seconds and a seed.
  const std::string seed = environment("ZARN_HOSTILE_HOST_SEED", "1");
  const std::string seconds = environment("ZARN_HOSTILE_HOST_SECONDS", "0");
  const std::string calls = seconds == "0" ? "1500" : std::to_string(~0u);
  const DWORD boundMs = (seconds == "0" ? 240 : std::stoul(seconds) + 120) * 1000;
  ChildProcess host = ChildProcess::startRole("hostile_host", {seed, calls, seconds});
  ASSERT_TRUE(host.valid());
  const std::optional<DWORD> code = host.wait(boundMs);
  ASSERT_TRUE(code) << "hung: seed " << seed;
  EXPECT_EQ(*code, 0u) << "seed " << seed
                       << (*code >= 0xC0000000u ? ": crashed, see its last calls above"
                                                : ": a count failed");
}

}  // namespace
}  // namespace zarn::test
