#include "delivery/layout_switch_guard.h"

#include "delivery/format_tags.h"

uint32_t mixerFrameLayout(uint32_t requestedFourcc) {
  return requestedFourcc == kTagI420 || requestedFourcc == kTagNV12 ? requestedFourcc : kTagRGB4;
}

void LayoutSwitchGuard::noteRequest(uint32_t layoutBefore, uint32_t layout, int32_t width,
                                    int32_t height, uint32_t nowMs) {
  if (layout == layoutBefore) return;
  std::lock_guard<std::mutex> lock(m_lock);
  m_guarding = true;
  m_requestMs = nowMs;
  m_requestWidth = uint32_t(width);
  m_requestHeight = uint32_t(height);
  m_widthBefore = m_lastWidth;
  m_heightBefore = m_lastHeight;
}

bool LayoutSwitchGuard::admits(uint64_t timestampMs, uint32_t width, uint32_t height,
                               uint32_t nowMs) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_lastWidth = width;
  m_lastHeight = height;
  if (!m_guarding) return true;
  // The mixer's stamps are the low 32 bits of the millisecond clock, which wraps.
  if (int32_t(uint32_t(timestampMs) - m_requestMs) <= 0) return false;
  const bool sizeFollowed = width == m_requestWidth && height == m_requestHeight &&
                            m_widthBefore != 0 &&
                            (m_widthBefore != width || m_heightBefore != height);
  if (!sizeFollowed && nowMs - m_requestMs < kSettleMs) return false;
  m_guarding = false;
  return true;
}

uint32_t LayoutSwitchGuard::msUntilSettled(uint32_t nowMs) {
  std::lock_guard<std::mutex> lock(m_lock);
  const uint32_t since = nowMs - m_requestMs;
  return m_guarding && since < kSettleMs ? kSettleMs - since : 0;
}
