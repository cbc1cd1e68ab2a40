#pragma once
// A tally of delivered frames that yields one report line every five seconds.
#include <atomic>
#include <cstdint>
#include <mutex>

class OutputStatistics {
 public:
  static constexpr int kLineSize = 128;

  // Counts one frame. True when a report is due: `line` then holds it, and the tally starts
  // again. The clock is platform().milliseconds(), first read at the first frame.
  bool count(char (&line)[kLineSize]);

  // Frames counted since the last report.
  int frames() const { return m_frames.load(std::memory_order_relaxed); }

 private:
  static constexpr int kIntervalSeconds = 5;

  std::once_flag m_started;
  // Plain loads and stores rather than a lock: two streams in one process may lose a count,
  // which a rate line can afford.
  std::atomic<uint32_t> m_startTime{0};
  std::atomic<int> m_frames{0};
};

// The process-wide tally of ScaleFrame.
OutputStatistics& scaleFrameStatistics();
