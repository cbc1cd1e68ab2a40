#include "diag/log_state.h"

#include <windows.h>

#include <ctime>

// Built before the other units' statics, some of which log while the module loads.
std::atomic<int32_t> g_logThreshold{1};
__attribute__((init_priority(101))) std::string g_logPath;
__attribute__((init_priority(101))) std::string g_logOldPath;
__attribute__((init_priority(101))) const std::string g_logBaseName = "zarncamvcam";
__attribute__((init_priority(101))) LogStream g_logStream;

const char* const g_logLevelText[6] = {"debug - ", "info  - ", "notice - ",
                                       "warn  - ", "error - ", "fatal - "};

std::string logTimeStamp() {
  time_t now = std::time(nullptr);
  const char* text = std::ctime(&now);
  if (!text || !*text) return "empty time";
  std::string stamp(text);
  stamp.pop_back();
  return stamp;
}

std::ostream& beginDirectLine(std::ostream& out, const std::string& stamp) {
  return out << stamp << " PID=" << GetCurrentProcessId() << " " << g_logLevelText[1];
}
