// The built module registered in this test's Wine prefix and unregistered again, as other test
// programs expect; hosts finding it through the device enumeration is the end-to-end tests' part.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>

#include "tests/support/child_process.h"

namespace {

const wchar_t kClassKey[] = L"CLSID\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}";
const wchar_t kServerKey[] = L"CLSID\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}\\InprocServer32";
// The general filter list, and the video input devices that capture applications list.
const wchar_t* const kCategoryEntries[] = {
    L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}",
    L"CLSID\\{860BB310-5D01-11D0-BD3B-00A0C911CE86}\\Instance\\zarncamvcam"};

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

// A copy of the built module in a folder named outside the code page, which a narrow path garbles.
class Registration : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    folder = std::wstring(temp) + L"zarn\u00e9\u4e2d\u6587";
    modulePath = folder + L"\\ZarnVirtualCam.ax";
    CreateDirectoryW(folder.c_str(), nullptr);
    const std::wstring built = zarn::test::executableFolder() + L"ZarnVirtualCam.ax";
    ASSERT_TRUE(CopyFileW(built.c_str(), modulePath.c_str(), FALSE));
    module = LoadLibraryW(modulePath.c_str());
    ASSERT_NE(module, nullptr) << "cannot load the built module";
    registerServer = serverCall(module, "DllRegisterServer");
    unregisterServer = serverCall(module, "DllUnregisterServer");
    canUnloadNow = serverCall(module, "DllCanUnloadNow");
    ASSERT_TRUE(registerServer && unregisterServer && canUnloadNow);
  }

  void TearDown() override {
    EXPECT_TRUE(!unregisterServer || unregisterServer() == S_OK);
    if (module) FreeLibrary(module);
    DeleteFileW(modulePath.c_str());
    RemoveDirectoryW(folder.c_str());
    CoUninitialize();
  }

  std::wstring folder, modulePath;
  HMODULE module = nullptr;
  ServerCall registerServer = nullptr, unregisterServer = nullptr, canUnloadNow = nullptr;
};

TEST_F(Registration, RegisteringTwiceKeepsTheTruePathAndUnregisteringRemovesItAll) {
  ASSERT_EQ(S_OK, registerServer());
  ASSERT_EQ(S_OK, registerServer());

  EXPECT_EQ(0, _wcsicmp(modulePath.c_str(), stringValue(kServerKey, nullptr).c_str()))
      << stringValue(kServerKey, nullptr);
  EXPECT_EQ(L"Both", stringValue(kServerKey, L"ThreadingModel"));
  for (const wchar_t* entry : kCategoryEntries) EXPECT_TRUE(keyExists(entry)) << entry;
  CLSID camera = {};
  CLSIDFromString(kClassKey + 6, &camera);
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(S_OK, CoCreateInstance(camera, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                                   reinterpret_cast<void**>(&filter)));
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
  for (const wchar_t* entry : kCategoryEntries) EXPECT_FALSE(keyExists(entry)) << entry;
}

}  // namespace
