#pragma once
// Reading log files back, line by line.
#include <cstdint>
#include <string>
#include <vector>

// Regex of the time stamp that begins a line.
extern const char kLogStampPattern[];

// "%APPDATA%\zarncam pro\log\" of the current user, looked up apart from the logger.
std::string userLogFolder();
// 0 for a file that isn't there.
uint64_t fileSizeOf(const std::string& path);
// Lines from byte `from` on, without their line ends.
std::vector<std::string> readLines(const std::string& path, uint64_t from = 0);
// The lines that process `pid` wrote, queued or straight to the stream.
std::vector<std::string> linesOfPid(const std::vector<std::string>& lines, uint32_t pid);
