#pragma once

#include <windows.h>

// The module handle and platform id kept by the framework's entry processing.
extern HINSTANCE g_hInst;
extern DWORD g_amPlatform;

// Called by the module's DllMain for every reason.
BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID pv);
