#pragma once
// Opening and closing of the log: one object per process, made by the first line that passes.
class LogFile {
 public:
  // Finds the user's log folder, opens the file for appending and writes the banner.
  LogFile();
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
};
