#pragma once
// Which process a process id stands for.
#include <cstdint>
#include <string>

// Executable file name of the process, as the process table gives it; empty if there is none.
std::wstring getProcessNameByPid(uint32_t pid);

// True if the process table holds an entry with that id.
bool isProcessRunning(uint32_t pid);
