// A host that has let go of the camera can unload the module: nothing of the module's may keep
// it loaded, and nothing may run in it afterwards.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include "filter/vcam.h"
#include "tests/e2e/registered_camera.h"

using zarn::test::ChildProcess;

namespace {

const wchar_t kModuleName[] = L"ZarnVirtualCam.ax";

// Exit codes: 0 unloaded, 1 still loaded, 2 to 4 the camera could not be used.
ZARN_CHILD_ROLE(host_that_lets_go) {
  CoInitialize(nullptr);
  IBaseFilter* filter = nullptr;
  if (FAILED(CoCreateInstance(CLSID_ZarnVirtualCam, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)))) return 2;
  IEnumPins* pins = nullptr;
  IPin* pin = nullptr;
  IAMStreamConfig* config = nullptr;
  AM_MEDIA_TYPE* type = nullptr;
  HRESULT hr = filter->EnumPins(&pins);
  if (SUCCEEDED(hr)) hr = pins->Next(1, &pin, nullptr);
  if (hr == S_OK) hr = pin->QueryInterface(IID_PPV_ARGS(&config));
  // A format call logs, which starts the log's thread.
  if (SUCCEEDED(hr)) hr = config->GetFormat(&type);
  if (SUCCEEDED(hr)) hr = config->SetFormat(type);
  if (type) {
    CoTaskMemFree(type->pbFormat);
    CoTaskMemFree(type);
  }
  for (IUnknown* held : {static_cast<IUnknown*>(config), static_cast<IUnknown*>(pin),
                         static_cast<IUnknown*>(pins), static_cast<IUnknown*>(filter)}) {
    if (held) held->Release();
  }
  if (FAILED(hr)) return 3;
  if (!GetModuleHandleW(kModuleName)) return 4;
  CoFreeUnusedLibrariesEx(0, 0);
  CoFreeUnusedLibrariesEx(0, 0);
  const bool loaded = GetModuleHandleW(kModuleName) != nullptr;
  CoUninitialize();
  return loaded ? 1 : 0;
}

using ModuleUnload = zarn::test::RegisteredCameraTest;

TEST_F(ModuleUnload, HostThatReleasedEverythingUnloadsTheModule) {
  ChildProcess host = ChildProcess::startRole("host_that_lets_go");
  EXPECT_EQ(host.wait(60000), std::optional<DWORD>(0));
}

}  // namespace
