#include "frame_meter.h"

#include <timeapi.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "link/test_pattern.h"

namespace {

// A stamp this close to the time of arrival is a live frame of the mixer. The placeholder's
// pixels read as a stamp too, but as one from a random moment.
const int kNewestStampAgeMs = 5000;
const int kOldestStampAgeMs = -1000;

void writeBmp(const std::string& path, const BYTE* pixels, int width, int height, int bits) {
  const DWORD imageBytes = DWORD(width) * height * (bits / 8);
  BITMAPFILEHEADER file = {};
  BITMAPINFOHEADER info = {};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(info);
  file.bfSize = file.bfOffBits + imageBytes;
  info.biSize = sizeof(info);
  info.biWidth = width;
  info.biHeight = height;  // the sample's rows lie bottom first, as a BMP's do
  info.biPlanes = 1;
  info.biBitCount = WORD(bits);
  info.biSizeImage = imageBytes;
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return;
  std::fwrite(&file, sizeof(file), 1, out);
  std::fwrite(&info, sizeof(info), 1, out);
  std::fwrite(pixels, 1, imageBytes, out);
  std::fclose(out);
}

}  // namespace

FrameMeter::FrameMeter(const ProbeOptions& options, bool announceSources)
    : m_options(options), m_bits(options.format == "rgb24" ? 24 : 32),
      m_announceSources(announceSources),
      m_stampRow(size_t(options.width) * options.height * 4) {}

STDMETHODIMP FrameMeter::QueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IUnknown || riid == IID_ISampleGrabberCB) {
    *ppv = static_cast<ISampleGrabberCB*>(this);
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP FrameMeter::SampleCB(double, IMediaSample* sample) {
  const DWORD received = timeGetTime();
  BYTE* pixels = nullptr;
  sample->GetPointer(&pixels);
  const int frame = ++m_frames;
  if (!pixels) return S_OK;
  if (frame <= m_options.bmpFrames && m_options.format != "i420") {
    writeBmp(m_options.bmpFolder + "\\frame" + std::to_string(frame) + ".bmp", pixels,
             m_options.width, m_options.height, m_bits);
  }
  int ageMs = 0;
  const bool fromMixer = readStamp(pixels, ageMs, received);
  if (fromMixer) {
    ++m_mixerFrames;
    std::lock_guard<std::mutex> lock(m_agesLock);
    m_ages.push_back(ageMs);
  }
  noteSource(fromMixer, received);
  return S_OK;
}

std::vector<int> FrameMeter::ages() {
  std::lock_guard<std::mutex> lock(m_agesLock);
  return m_ages;
}

// Copies the strip's middle row into a frame-sized scratch image, where the pattern's reader
// finds it. RGB samples lie bottom row first; the planar luma plane lies top row first, and its
// white and black cells read as light and dark grey.
bool FrameMeter::readStamp(const BYTE* pixels, int& ageMs, DWORD received) {
  const int width = m_options.width;
  const int height = m_options.height;
  const int row = std::max(1, height / 8) / 2;
  BYTE* target = m_stampRow.data() + size_t(row) * width * 4;
  if (m_options.format == "i420") {
    const BYTE* luma = pixels + size_t(row) * width;
    for (int x = 0; x < width; ++x) target[x * 4] = target[x * 4 + 1] = target[x * 4 + 2] = luma[x];
  } else {
    const int bytes = m_bits / 8;
    const BYTE* source = pixels + size_t(height - 1 - row) * width * bytes;
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) target[x * 4 + c] = source[x * bytes + c];
    }
  }
  TestPatternStamp stamp;
  if (!readTestPatternStamp(m_stampRow.data(), width, height, stamp)) return false;
  ageMs = int(received - stamp.timestampMs);
  return ageMs >= kOldestStampAgeMs && ageMs <= kNewestStampAgeMs;
}

void FrameMeter::noteSource(bool fromMixer, DWORD received) {
  if (!m_announceSources || m_lastSource == int(fromMixer)) return;
  m_lastSource = int(fromMixer);
  std::printf("frames from the %s at %lu ms\n", fromMixer ? "mixer" : "placeholder",
              static_cast<unsigned long>(received));
  std::fflush(stdout);
}
