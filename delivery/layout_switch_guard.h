#pragma once
// Keeps frames of the mixer's previous pixel layout out of the samples when a host asks for
// another one (packed RGB against planar, or one planar layout against another). The mixer goes
// on with the old layout until it has read the request, and its record names no layout; but the
// record's time stamp is on the clock of the request. A frame stamped before the request is of
// the old layout. One stamped after it is of the new layout only when its size shows that the
// mixer followed the request, or once the mixer has had time enough to read it: how many frames
// came since proves nothing, since a slow mixer sends several of the old layout.
#include <cstdint>
#include <mutex>

// The layout in which the mixer delivers frames for a requested format tag: planar data for a
// planar tag, 32-bit RGB for every other one.
uint32_t mixerFrameLayout(uint32_t requestedFourcc);

class LayoutSwitchGuard {
 public:
  // A request for `layout` frames of `width` by `height`, about to be published at `nowMs` over
  // one for `layoutBefore`. Only a change of layout counts.
  void noteRequest(uint32_t layoutBefore, uint32_t layout, int32_t width, int32_t height,
                   uint32_t nowMs);
  // Whether a memory frame stamped `timestampMs`, `width` by `height`, read at `nowMs`, may go
  // into a sample.
  bool admits(uint64_t timestampMs, uint32_t width, uint32_t height, uint32_t nowMs);

  // Milliseconds from `nowMs` until frames of any size are trusted again; 0 when not guarding.
  uint32_t msUntilSettled(uint32_t nowMs);

  // How long after a request a mixer has surely read it, even at its slowest frame rate.
  static constexpr uint32_t kSettleMs = 500;

 private:
  std::mutex m_lock;
  bool m_guarding = false;
  uint32_t m_requestMs = 0;
  uint32_t m_requestWidth = 0;
  uint32_t m_requestHeight = 0;
  uint32_t m_widthBefore = 0;
  uint32_t m_heightBefore = 0;
  uint32_t m_lastWidth = 0;
  uint32_t m_lastHeight = 0;
};
