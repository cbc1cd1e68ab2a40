#pragma once
// Shared by the cross-process tests of the mixer link.
#include <windows.h>

#include "tests/support/child_process.h"

inline const wchar_t kFrameRegionBase[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
inline const wchar_t kFrameMappingName[] =
    L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_SharedMemory_ZarnMixer";
inline const wchar_t kParamMappingName[] =
    L"ZARNCAM_INT_VIRTUAL_VIDEO_VCAMPARA_SHARE_MEMORY_SharedMemory_ZarnMixer";

inline bool mappingExists(const wchar_t* name) {
  HANDLE mapping = OpenFileMappingW(FILE_MAP_READ, FALSE, name);
  if (mapping) CloseHandle(mapping);
  return mapping != nullptr;
}

// A killed process may hold its handles a little longer; tests that create a region wait for
// the one of an earlier test to go.
inline bool regionGone(const wchar_t* name) {
  return zarn::test::waitUntil(10000, [name] { return !mappingExists(name); });
}

// Keeps a child role alive until the test kills it, with a bound in case the test can't.
inline int idleUntilKilled() {
  Sleep(60000);
  return 3;
}
