#include "delivery/scale_statistics.h"

#include <cstdio>

#include "host/platform.h"

bool OutputStatistics::count(char (&line)[kLineSize]) {
  std::call_once(m_started, [this] {
    m_startTime.store(platform().milliseconds(), std::memory_order_relaxed);
  });
  const int frames = m_frames.load(std::memory_order_relaxed) + 1;
  m_frames.store(frames, std::memory_order_relaxed);
  const uint32_t now = platform().milliseconds();
  const uint32_t elapsed = now - m_startTime.load(std::memory_order_relaxed);
  if (elapsed < uint32_t(kIntervalSeconds) * 1000) return false;
  snprintf(line, kLineSize, "CVCamStream output count=%d fps=%d time=%d", frames,
           frames / kIntervalSeconds, int(elapsed));
  m_frames.store(0, std::memory_order_relaxed);
  m_startTime.store(now, std::memory_order_relaxed);
  return true;
}

OutputStatistics& scaleFrameStatistics() {
  static OutputStatistics statistics;
  return statistics;
}
