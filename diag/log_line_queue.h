#pragma once
// Hands log lines between threads on their way to the stream, and keeps the latest ones.
#include <windows.h>

#include <atomic>
#include <deque>
#include <ostream>
#include <string>

// When set, the next Push moves the whole history ahead of its line into the write queue.
extern bool g_logDumpHistory;

class LogLineQueue {
 public:
  static constexpr size_t kHistoryLines = 100;

  // Module attach: makes the process-wide queue unless there is one.
  static void create();
  // Module detach: frees the queue; lines still in it are lost.
  static void destroy();
  // The process-wide queue, null outside attach and detach.
  static LogLineQueue* instance() { return s_instance.load(); }

  LogLineQueue();
  ~LogLineQueue();
  LogLineQueue(const LogLineQueue&) = delete;
  LogLineQueue& operator=(const LogLineQueue&) = delete;

  void Push(const char* line);
  // Writes every queued line to `out`, oldest first, outside the lock, then flushes once.
  void Drain(std::ostream& out);

 private:
  static std::atomic<LogLineQueue*> s_instance;

  std::deque<std::string> m_writeQueue;
  std::deque<std::string> m_history;
  CRITICAL_SECTION m_lock;
};
