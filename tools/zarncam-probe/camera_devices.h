#pragma once
// The video input devices as a host sees them, through the system's device enumeration.
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

std::vector<std::wstring> videoInputDeviceNames();

// The capture filter of the device with that friendly name; null if there is none.
IBaseFilter* openVideoInputDevice(const std::wstring& friendlyName);
