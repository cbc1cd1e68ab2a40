#include "tests/e2e/registered_camera.h"

#include <objbase.h>

namespace zarn::test {

RegisteredCameraTest::RegisteredCameraTest(const std::wstring& module) {
  m_comStarted = SUCCEEDED(CoInitialize(nullptr));
  m_module = LoadLibraryW(module.c_str());
  if (m_module) m_registered = call("DllRegisterServer");
}

RegisteredCameraTest::~RegisteredCameraTest() {
  // Unregistering after a partial registration is harmless and leaves the prefix clean.
  if (m_module) {
    call("DllUnregisterServer");
    FreeLibrary(m_module);
  }
  if (m_comStarted) CoUninitialize();
}

HRESULT RegisteredCameraTest::call(const char* exportName) const {
  using ServerCall = HRESULT(STDAPICALLTYPE*)();
  auto entry =
      reinterpret_cast<ServerCall>(reinterpret_cast<void*>(GetProcAddress(m_module, exportName)));
  return entry ? entry() : E_FAIL;
}

bool frameRegionExists() {
  HANDLE mapping = OpenFileMappingW(
      FILE_MAP_READ, FALSE, L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_SharedMemory_ZarnMixer");
  return mapping && CloseHandle(mapping);
}

ChildProcess startFrameWriter(const std::wstring& exeName, const std::wstring& arguments) {
  ChildProcess writer = ChildProcess::startWithOutput(executableFolder() + exeName, arguments);
  const bool made = waitUntil(20000, [&] { return frameRegionExists() || !writer.running(); });
  if (!made) writer.kill();
  return writer;
}

}  // namespace zarn::test
