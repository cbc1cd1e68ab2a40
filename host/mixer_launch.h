#pragma once
// Starting the application "zarncam pro.exe": to bring up the mixer, and to have it tell the
// user which process holds the camera.
#include <cstdint>
#include <string>

// Starts `file` with `parameters` (may be null) through the platform; true if it started.
bool launchProcess(const wchar_t* file, const wchar_t* parameters);

// Starts the application without arguments if it lies beside this module or one folder up.
// Always true: a failed start leaves the placeholder on screen.
bool BootZarnVcamProc();

// Starts the application, found one folder above this module, with the quoted address
// "zarncampro://VirtualCamBeUsed/name=...&parentName=...&pid=..." naming `holderPid`; at most
// once in two seconds of the platform's clock.
void ShowTipsForOpeningProcess(uint32_t holderPid);

// Folder of the module that holds this code, without a trailing backslash.
std::wstring getFilterFolder();

// The user's temporary folder, as the system gives it (with a trailing backslash).
std::wstring getTempFolder();

bool fileExists(const std::wstring& path);
