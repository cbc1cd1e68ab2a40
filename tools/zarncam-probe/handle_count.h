#pragma once
// The handles that the calling process holds.
#include <windows.h>

#include <map>
#include <string>

// GetProcessHandleCount where the system answers it; Wine answers 0, and there the process's
// entries in the system's handle table are counted instead.
DWORD processHandleCount();

// The process's handles by object type ("Event", "Key", "Thread", ...); empty where the
// system's handle table can't be read.
std::map<std::wstring, int> processHandlesByType();
