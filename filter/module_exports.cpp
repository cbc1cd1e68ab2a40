// The module's entry: the log queue lives from attach to detach, and the framework's entry does
// the rest. DllGetClassObject is the framework's, the registration pair is registration.cpp's;
// the .def file exports all five by name.
#include <windows.h>

#include "diag/log_limiter.h"
#include "diag/log_line_queue.h"
#include "media/module_entry.h"

STDAPI DllCanUnloadNow();

// The framework's answer; before a yes the log's thread ends, as no thread may outlive the code.
extern "C" HRESULT WINAPI ModuleCanUnloadNow() {
  const HRESULT answer = DllCanUnloadNow();
  if (answer == S_OK) stopLogLimiter();
  return answer;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    LogLineQueue::create();
  } else if (reason == DLL_PROCESS_DETACH) {
    LogLineQueue::destroy();
  }
  return DllEntryPoint(module, reason, reserved);
}
