#pragma once
// Process-wide state of the log, and the pieces every written line is made of.
#include <atomic>
#include <cstdint>
#include <ostream>
#include <string>

#include "diag/log_stream.h"

// Lines below this level are dropped; the `debug` marker lowers it to 0 when the log opens.
extern std::atomic<int32_t> g_logThreshold;
// Full ANSI paths of the current and the rotated log; empty until the log opens.
extern std::string g_logPath;
extern std::string g_logOldPath;
// Every host of a user writes to the same file name.
extern const std::string g_logBaseName;
extern LogStream g_logStream;

// Texts of levels 0 to 5, each with its trailing blank(s).
extern const char* const g_logLevelText[6];

// Local time as ctime gives it, without the newline; "empty time" if that fails.
std::string logTimeStamp();

// Starts a line that goes straight to the stream: "<stamp> PID=<pid> info  - ".
std::ostream& beginDirectLine(std::ostream& out, const std::string& stamp);
