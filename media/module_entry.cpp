#include "media/module_entry.h"

#include "media/class_factory.h"

HINSTANCE g_hInst = nullptr;
DWORD g_amPlatform = VER_PLATFORM_WIN32_WINDOWS;

BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID) {
  switch (ulReason) {
    case DLL_PROCESS_ATTACH: {
      DisableThreadLibraryCalls(hInstance);
      OSVERSIONINFOW osInfo = {};
      osInfo.dwOSVersionInfoSize = sizeof(osInfo);
      if (GetVersionExW(&osInfo)) {
        g_amPlatform = osInfo.dwPlatformId;
      }
      g_hInst = hInstance;
      for (int i = 0; i < g_cTemplates; i++) {
        if (g_Templates[i].m_lpfnInit) {
          g_Templates[i].m_lpfnInit(TRUE, g_Templates[i].m_ClsID);
        }
      }
      break;
    }
    case DLL_PROCESS_DETACH:
      for (int i = 0; i < g_cTemplates; i++) {
        if (g_Templates[i].m_lpfnInit) {
          g_Templates[i].m_lpfnInit(FALSE, g_Templates[i].m_ClsID);
        }
      }
      break;
    default:
      break;
  }
  return TRUE;
}
