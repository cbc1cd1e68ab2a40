#pragma once
// The sample grabber's callback: counts frames, reads the mixer's stamp from each, and tells the
// mixer's frames from the placeholder's.
#include <windows.h>
#include <dshow.h>
#include <qedit.h>

#include <atomic>
#include <mutex>
#include <vector>

#include "probe_options.h"

class FrameMeter : public ISampleGrabberCB {
 public:
  // With `announceSources`, each change between mixer and placeholder frames prints a line
  // with the time (timeGetTime) at which the first frame of the new kind arrived.
  FrameMeter(const ProbeOptions& options, bool announceSources);

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  // Lives on the stack of the probe, longer than the graph that calls it.
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP SampleCB(double, IMediaSample* sample) override;
  STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

  int frames() const { return m_frames.load(); }
  int mixerFrames() const { return m_mixerFrames.load(); }
  std::vector<int> ages();

 private:
  bool readStamp(const BYTE* pixels, int& ageMs, DWORD received);
  void noteSource(bool fromMixer, DWORD received);

  const ProbeOptions& m_options;
  const int m_bits;
  const bool m_announceSources;
  std::vector<BYTE> m_stampRow;
  std::atomic<int> m_frames{0};
  std::atomic<int> m_mixerFrames{0};
  int m_lastSource = -1;  // -1 none yet, 0 placeholder, 1 mixer
  std::mutex m_agesLock;
  std::vector<int> m_ages;
};
