#include "tools/zarnmixer-sim/mixer_sim.h"

#include <timeapi.h>

#include <cstdio>

#include "link/frame_region_layout.h"
#include "link/test_pattern.h"
#include "tools/zarnmixer-sim/frame_layout.h"

namespace {

const wchar_t kFrameRegionName[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
const wchar_t kFrameEventName[] = L"ZARNCAM_INT_DEF_SINGLE_SYNFRAME_EVENT_20180212";

std::string narrow(const std::wstring& text) {
  if (text.empty()) return std::string();
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string result(size_t(size > 0 ? size - 1 : 0), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, result.data(), size, nullptr, nullptr);
  return result;
}

std::string fourccText(uint32_t fourcc) {
  if (fourcc == 0) return "0 (RGB)";
  char text[32];
  std::snprintf(text, sizeof(text), "0x%08X '%c%c%c%c'", fourcc, char(fourcc), char(fourcc >> 8),
                char(fourcc >> 16), char(fourcc >> 24));
  return text;
}

}  // namespace

MixerSim::MixerSim(const MixerSimOptions& options)
    : m_options(options), m_frames(kFrameRegionName) {
  m_params.openOrCreate(1280, 720, 25, 0);
  m_frameEvent = OpenEventW(EVENT_ALL_ACCESS, FALSE, kFrameEventName);
  if (!m_frameEvent) m_frameEvent = CreateEventW(nullptr, FALSE, FALSE, kFrameEventName);
}

MixerSim::~MixerSim() {
  if (m_frameEvent) CloseHandle(m_frameEvent);
}

bool MixerSim::createFrameRegion() {
  const bool sized = m_options.regionWidth > 0;
  const int32_t width = sized ? m_options.regionWidth : kDefaultFrameWidth;
  const int32_t height = sized ? m_options.regionHeight : kDefaultFrameHeight;
  const bool sealed = !m_options.plain;
  // A region that outlived an earlier writer keeps its layout; assume it is the one asked for.
  m_frames.setEncrypted(sealed);
  m_frames.create(kFrameHeaderSize, width, height, sealed, GetCurrentProcessId());
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  if (!m_frames.lockWriteBuffer(offset, mapping)) {
    std::fprintf(stderr, "zarnmixer-sim: cannot create the frame region (error %lu)\n",
                 GetLastError());
    return false;
  }
  m_bufferBytes = int64_t(width) * height * 4;
  std::printf("frame region: %s, %s layout, %u KB, buffers for %dx%d\n",
              m_frames.createdRegion() ? "created" : "found and kept", sealed ? "sealed" : "plain",
              m_frames.getRegionSize() / 1024, width, height);
  return true;
}

void MixerSim::followRequest() {
  int32_t width = 0;
  int32_t height = 0;
  int32_t fps = 0;
  uint32_t fourcc = 0;
  m_params.readVideoOutParam(width, height, fps, fourcc);
  const uint32_t holder = m_params.getOpeningProcessId();
  const std::string holderName = narrow(m_params.getOpeningProcessName());

  char line[512];
  if (holder == 0) {
    std::snprintf(line, sizeof(line), "hosts ask for %dx%d at %d fps, format %s; camera free",
                  width, height, fps, fourccText(fourcc).c_str());
  } else {
    std::snprintf(line, sizeof(line),
                  "hosts ask for %dx%d at %d fps, format %s; camera held by %s (pid %u)", width,
                  height, fps, fourccText(fourcc).c_str(),
                  holderName.empty() ? "a process that has ended" : holderName.c_str(), holder);
  }
  m_fourcc = fourcc;
  if (m_options.fixedSize && m_options.regionWidth > 0) {
    m_width = m_options.regionWidth;
    m_height = m_options.regionHeight;
  } else if (frameLayoutBytes(fourcc, width, height) <= m_bufferBytes) {
    m_width = width;
    m_height = height;
  } else if (m_width == 0) {
    m_width = m_options.regionWidth > 0 ? m_options.regionWidth : 1280;
    m_height = m_options.regionHeight > 0 ? m_options.regionHeight : 720;
  }
  if (line == m_lastRequestLine) return;
  m_lastRequestLine = line;
  std::printf("%s\n", line);
  if (m_width != width || m_height != height) {
    std::printf("  %dx%d %s; publishing %dx%d\n", width, height,
                m_options.fixedSize ? "is not the fixed size" : "does not fit the buffers", m_width,
                m_height);
  }
  std::fflush(stdout);
}

bool MixerSim::publishFrame() {
  const uint32_t now = timeGetTime();
  m_picture.resize(size_t(m_width) * m_height * 4);
  renderTestPattern(m_picture.data(), m_width, m_height, {m_published, now});

  CaptureFrameRecord record;
  record.width = uint32_t(m_width);
  record.height = uint32_t(m_height);
  record.timestampMs = now;
  record.dumpFrame = m_options.dumpFrames ? 1 : 0;
  if (m_options.texture) {
    if (!publishTexture(record)) return false;
  } else {
    uint32_t offset = 0;
    HANDLE mapping = nullptr;
    uint8_t* pixels =
        m_frames.lockWriteBuffer(offset, mapping, frameLayoutBytes(m_fourcc, m_width, m_height));
    if (!pixels) {
      std::fprintf(stderr, "zarnmixer-sim: the frame region's buffer can't hold a %dx%d frame\n",
                   m_width, m_height);
      return false;
    }
    writeFrameLayout(m_picture.data(), m_width, m_height, m_fourcc, pixels);
  }
  m_frames.unLockWriteBuffer(record, !m_options.texture);
  SetEvent(m_frameEvent);
  ++m_published;
  return true;
}

bool MixerSim::publishTexture(CaptureFrameRecord& record) {
  std::string error;
  if (!m_textures.prepare(m_width, m_height, error)) {
    std::fprintf(stderr, "zarnmixer-sim: cannot publish texture frames: %s\n", error.c_str());
    return false;
  }
  // A texture is top row first whatever the host asked for; the filter converts and turns it.
  m_textures.upload(m_picture.data());
  record.frameKind = kTextureFrame;
  record.textureId = m_textures.textureId();
  record.adapterIndex = TexturePublisher::kAdapterIndex;
  record.adapterLuid.LowPart = m_textures.adapterLuid().LowPart;
  record.adapterLuid.HighPart = m_textures.adapterLuid().HighPart;
  record.keyedMutexKey = TexturePublisher::kKey;
  record.is709 = 1;
  record.isFullRange = 0;
  return true;
}

int MixerSim::run(HANDLE stopEvent) {
  if (!createFrameRegion()) return 1;
  if (m_options.disableConnect) {
    m_params.setEnableVCamConnect(false);
    std::printf("host connections switched off\n");
  }
  followRequest();

  const uint32_t start = timeGetTime();
  const double periodMs = 1000.0 / m_options.fps;
  double nextFrame = 0;
  HANDLE waits[2] = {stopEvent, m_params.getParamEvent()};
  while (m_options.frames < 0 || m_published < m_options.frames) {
    const uint32_t elapsed = timeGetTime() - start;
    if (m_options.seconds >= 0 && elapsed >= m_options.seconds * 1000) break;
    const DWORD timeout = nextFrame > elapsed ? DWORD(nextFrame - elapsed) : 0;
    const DWORD woken = WaitForMultipleObjects(2, waits, FALSE, timeout);
    if (woken == WAIT_OBJECT_0) break;
    if (woken == WAIT_OBJECT_0 + 1) {
      followRequest();
      continue;
    }
    if (!publishFrame()) return 3;
    // After a stall the pace starts again from now instead of catching up in a burst.
    nextFrame = nextFrame + periodMs < elapsed ? elapsed : nextFrame + periodMs;
  }

  if (m_options.disableConnect) m_params.setEnableVCamConnect(true);
  std::printf("published %u frames\n", m_published);
  return 0;
}
