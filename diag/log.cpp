#include "diag/log.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "diag/log_file.h"
#include "diag/log_limiter.h"
#include "diag/log_line_queue.h"
#include "diag/log_state.h"

void LogPrint(int level, const char* format, ...) {
  // A filtered call costs one comparison and never opens the file.
  if (g_logThreshold.load(std::memory_order_relaxed) > level) return;

  // After detach nothing may open the log or start its thread: the module is on its way out.
  LogLineQueue* queue = LogLineQueue::instance();
  if (!queue) return;

  // The limiter is made second so that its destructor, which closes the stream, runs first.
  static LogFile logFile;
  static LogLimiter logLimiter;
  restartLogLimiter();

  char message[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof(message), format, args);
  va_end(args);

  std::string stamp = logTimeStamp();
  char line[4096];
  std::snprintf(line, sizeof(line), "%s TID=%u PID=%u %s%s\n", stamp.c_str(),
                static_cast<unsigned>(GetCurrentThreadId()), static_cast<unsigned>(GetCurrentProcessId()),
                g_logLevelText[level], message);

  queue->Push(line);
  queue->Drain(g_logStream);
}
