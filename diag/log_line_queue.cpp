#include "diag/log_line_queue.h"

bool g_logDumpHistory = false;

std::atomic<LogLineQueue*> LogLineQueue::s_instance{nullptr};

void LogLineQueue::create() {
  if (s_instance.load()) return;
  s_instance.store(new LogLineQueue());
}

void LogLineQueue::destroy() { delete s_instance.exchange(nullptr); }

LogLineQueue::LogLineQueue() { InitializeCriticalSection(&m_lock); }

LogLineQueue::~LogLineQueue() { DeleteCriticalSection(&m_lock); }

void LogLineQueue::Push(const char* line) {
  std::string entry(line);
  EnterCriticalSection(&m_lock);
  if (g_logDumpHistory) {
    m_writeQueue.insert(m_writeQueue.end(), m_history.begin(), m_history.end());
    m_history.clear();
  } else {
    m_history.push_back(entry);
    if (m_history.size() > kHistoryLines) m_history.pop_front();
  }
  m_writeQueue.push_back(std::move(entry));
  LeaveCriticalSection(&m_lock);
}

void LogLineQueue::Drain(std::ostream& out) {
  std::deque<std::string> lines;
  EnterCriticalSection(&m_lock);
  lines.swap(m_writeQueue);
  LeaveCriticalSection(&m_lock);
  for (const std::string& line : lines) out << line.c_str();
  out.flush();
}
