#include "filter/registry_keys.h"

#include <objbase.h>

#include <cwchar>

namespace {

const DWORD kMaxKeyName = 260;

void classKeyName(REFCLSID clsid, WCHAR (&keyName)[64]) {
  WCHAR clsidText[40];
  StringFromGUID2(clsid, clsidText, 40);
  swprintf(keyName, 64, L"CLSID\\%ls", clsidText);
}

// True when `subkey` and everything beneath it are gone.
bool removeTree(HKEY parent, const WCHAR* subkey) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(parent, subkey, 0, MAXIMUM_ALLOWED, &key) != ERROR_SUCCESS) {
    return false;
  }
  // Index 0 each time, since the list shrinks as children go; a child that stays would come
  // back at index 0 for ever, so the first one that stays ends the loop.
  WCHAR child[kMaxKeyName + 1];
  DWORD childLength = kMaxKeyName + 1;
  while (RegEnumKeyExW(key, 0, child, &childLength, nullptr, nullptr, nullptr, nullptr) ==
             ERROR_SUCCESS &&
         removeTree(key, child)) {
    childLength = kMaxKeyName + 1;
  }
  RegCloseKey(key);
  return RegDeleteKeyW(parent, subkey) == ERROR_SUCCESS;
}

}  // namespace

HRESULT writeClassKey(REFCLSID clsid, const WCHAR* name, const WCHAR* modulePath) {
  WCHAR keyName[64];
  classKeyName(clsid, keyName);
  HKEY classKey = nullptr;
  LONG rc = RegCreateKeyW(HKEY_CLASSES_ROOT, keyName, &classKey);
  if (rc != ERROR_SUCCESS) {
    return HRESULT_FROM_WIN32(rc);
  }
  HKEY serverKey = nullptr;
  // RegSetValueW measures the text itself; the length it is given doesn't count.
  rc = RegSetValueW(classKey, nullptr, REG_SZ, name, 520);
  if (rc == ERROR_SUCCESS) {
    rc = RegCreateKeyW(classKey, L"InprocServer32", &serverKey);
  }
  if (rc == ERROR_SUCCESS) {
    rc = RegSetValueW(serverKey, nullptr, REG_SZ, modulePath,
                      static_cast<DWORD>((wcslen(modulePath) + 1) * sizeof(WCHAR)));
  }
  if (rc == ERROR_SUCCESS) {
    static const WCHAR kBoth[] = L"Both";
    rc = RegSetValueExW(serverKey, L"ThreadingModel", 0, REG_SZ,
                        reinterpret_cast<const BYTE*>(kBoth), sizeof(kBoth));
  }
  if (serverKey) {
    RegCloseKey(serverKey);
  }
  RegCloseKey(classKey);
  return HRESULT_FROM_WIN32(rc);
}

HRESULT deleteClassKey(REFCLSID clsid) {
  WCHAR keyName[64];
  classKeyName(clsid, keyName);
  removeTree(HKEY_CLASSES_ROOT, keyName);
  return S_OK;
}
