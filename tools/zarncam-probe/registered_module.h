#pragma once
// Which file the camera's class id is registered to, and that file's version.
#include <string>

struct RegisteredModule {
  std::wstring path;     // empty when the camera is not registered
  std::wstring version;  // "major.minor.patch", empty when the file has no version resource
};

RegisteredModule registeredCameraModule();
