// The built module registered in this test's Wine prefix, and found again by Wine's own device
// enumeration. Every test ends unregistered, as other test programs expect, and unregistering
// once more is no failure.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace {

const wchar_t kClassKey[] = L"CLSID\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}";
const wchar_t kServerKey[] = L"CLSID\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}\\InprocServer32";
const wchar_t kGeneralFilterEntry[] =
    L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\"
    L"{60A485B6-17AA-4D91-8139-60C1A095EEF6}";

using ServerCall = HRESULT(STDAPICALLTYPE*)();

ServerCall serverCall(HMODULE module, const char* name) {
  return reinterpret_cast<ServerCall>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

std::wstring stringValue(const wchar_t* key, const wchar_t* name) {
  wchar_t text[1024];
  DWORD size = sizeof(text);
  if (RegGetValueW(HKEY_CLASSES_ROOT, key, name, RRF_RT_REG_SZ, nullptr, text, &size) !=
      ERROR_SUCCESS) {
    return L"<absent>";
  }
  return text;
}

bool keyExists(const wchar_t* key) {
  HKEY handle = nullptr;
  const bool found = RegOpenKeyExW(HKEY_CLASSES_ROOT, key, 0, KEY_READ, &handle) == ERROR_SUCCESS;
  if (found) RegCloseKey(handle);
  return found;
}

// The video input devices named as the camera, as a capture application lists them.
std::vector<IMoniker*> cameras() {
  std::vector<IMoniker*> found;
  ICreateDevEnum* devices = nullptr;
  IEnumMoniker* monikers = nullptr;
  CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                   reinterpret_cast<void**>(&devices));
  if (devices &&
      devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, &monikers, 0) == S_OK) {
    IMoniker* moniker = nullptr;
    while (monikers->Next(1, &moniker, nullptr) == S_OK) {
      IPropertyBag* bag = nullptr;
      VARIANT name = {};
      moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(&bag));
      if (bag && SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)) && name.vt == VT_BSTR &&
          wcscmp(name.bstrVal, L"ZarnCam Pro") == 0) {
        found.push_back(moniker);
      } else {
        moniker->Release();
      }
      VariantClear(&name);
      if (bag) bag->Release();
    }
    monikers->Release();
  }
  if (devices) devices->Release();
  return found;
}

class Registration : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
    modulePath = zarn::test::executableFolder() + L"ZarnVirtualCam.ax";
    module = LoadLibraryW(modulePath.c_str());
    ASSERT_NE(module, nullptr) << "cannot load the built module";
    registerServer = serverCall(module, "DllRegisterServer");
    unregisterServer = serverCall(module, "DllUnregisterServer");
    canUnloadNow = serverCall(module, "DllCanUnloadNow");
    ASSERT_TRUE(registerServer && unregisterServer && canUnloadNow);
  }

  void TearDown() override {
    if (unregisterServer) {
      EXPECT_EQ(S_OK, unregisterServer());
    }
    if (module) FreeLibrary(module);
    CoUninitialize();
  }

  std::wstring modulePath;
  HMODULE module = nullptr;
  ServerCall registerServer = nullptr;
  ServerCall unregisterServer = nullptr;
  ServerCall canUnloadNow = nullptr;
};

TEST_F(Registration, RegisteringTwiceLeavesOneBindableCameraAndUnregisteringRemovesItAll) {
  ASSERT_EQ(S_OK, registerServer());
  ASSERT_EQ(S_OK, registerServer());

  EXPECT_EQ(0, _wcsicmp(modulePath.c_str(), stringValue(kServerKey, nullptr).c_str()))
      << stringValue(kServerKey, nullptr);
  EXPECT_EQ(L"Both", stringValue(kServerKey, L"ThreadingModel"));
  EXPECT_TRUE(keyExists(kGeneralFilterEntry));
  std::vector<IMoniker*> found = cameras();
  ASSERT_EQ(1u, found.size());
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(S_OK, found[0]->BindToObject(nullptr, nullptr, IID_IBaseFilter,
                                         reinterpret_cast<void**>(&filter)));
  found[0]->Release();
  // The filter came from this very module, loaded once for the process.
  EXPECT_EQ(S_FALSE, canUnloadNow());
  EXPECT_EQ(0u, filter->Release());
  EXPECT_EQ(S_OK, canUnloadNow());

  // Left under the class key by some other writer: deletion must reach beneath it.
  HKEY stray = nullptr;
  std::wstring strayKey = std::wstring(kClassKey) + L"\\Pins\\Output\\Types";
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CLASSES_ROOT, strayKey.c_str(), &stray));
  RegCloseKey(stray);
  EXPECT_EQ(S_OK, unregisterServer());
  EXPECT_FALSE(keyExists(kClassKey));
  EXPECT_FALSE(keyExists(kGeneralFilterEntry));
  EXPECT_TRUE(cameras().empty());
}

TEST_F(Registration, ModuleInAFolderOutsideTheCodePageRegistersItsTruePath) {
  wchar_t temp[MAX_PATH];
  GetTempPathW(MAX_PATH, temp);
  std::wstring folder = std::wstring(temp) + L"zarn\u00e9\u4e2d\u6587";
  std::wstring copy = folder + L"\\ZarnVirtualCam.ax";
  CreateDirectoryW(folder.c_str(), nullptr);
  ASSERT_TRUE(CopyFileW(modulePath.c_str(), copy.c_str(), FALSE));
  HMODULE copied = LoadLibraryW(copy.c_str());
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(S_OK, serverCall(copied, "DllRegisterServer")());
  EXPECT_EQ(0, _wcsicmp(copy.c_str(), stringValue(kServerKey, nullptr).c_str()));
  FreeLibrary(copied);
  DeleteFileW(copy.c_str());
  RemoveDirectoryW(folder.c_str());
}

}  // namespace
