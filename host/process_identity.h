#pragma once
// Which process a process id stands for.
#include <cstdint>
#include <string>

// Executable file name of the process, as the process table gives it; empty if there is none.
std::wstring getProcessNameByPid(uint32_t pid);

// True if the process table holds an entry with that id.
bool isProcessRunning(uint32_t pid);

// Parent of `pid`; 0 if it can't be told, if `pid` has ended (unless `acceptEnded`), or, with
// `skipSystemParent`, if the parent runs from the Windows folder (the shell, services).
uint32_t getParentProcessId(uint32_t pid, bool acceptEnded, bool skipSystemParent);

// Highest ancestor of `pid` below the system's own processes; 0 if there is none.
uint32_t getRootProcessId(uint32_t pid);

// File name of the process's image, or "unknown".
std::wstring getProcessImageName(uint32_t pid);

// Ends every process whose file name is exactly `name`; true if any was found.
bool terminateProcessesByName(const std::wstring& name);
