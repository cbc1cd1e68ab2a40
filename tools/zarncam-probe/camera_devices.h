#pragma once
// The video input devices as a host sees them, through the system's device enumeration.
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

extern const wchar_t kCameraName[];

std::vector<std::wstring> videoInputDeviceNames();

// The moniker of the device with that friendly name, with a reference; null if there is none.
IMoniker* videoInputDeviceMoniker(const std::wstring& friendlyName);

// A new capture filter of the device; null if it can't be made.
IBaseFilter* openVideoInputDevice(IMoniker* device);

// The capture filter of the device with that friendly name; null if there is none.
IBaseFilter* openVideoInputDevice(const std::wstring& friendlyName);

// The filter's first pin of that direction, with a reference; null if it has none.
IPin* firstPin(IBaseFilter* filter, PIN_DIRECTION direction);
