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
// The camera's log, which every test program in this prefix shares.
std::string cameraLog();
// This process's lines of the camera's log from byte `from` on that hold `text`, queued or
// written straight to the stream.
std::vector<std::string> linesContaining(uint64_t from, const std::string& text);
