#include "registered_module.h"

#include <windows.h>

#include <vector>

namespace {

const wchar_t kServerKey[] = L"CLSID\\{60A485B6-17AA-4D91-8139-60C1A095EEF6}\\InprocServer32";

std::wstring fileVersion(const std::wstring& path) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
  if (size == 0) return {};
  std::vector<BYTE> data(size);
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(path.c_str(), 0, size, data.data()) ||
      !VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length) ||
      length < sizeof(VS_FIXEDFILEINFO)) {
    return {};
  }
  return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." +
         std::to_wstring(LOWORD(info->dwFileVersionMS)) + L"." +
         std::to_wstring(HIWORD(info->dwFileVersionLS));
}

}  // namespace

RegisteredModule registeredCameraModule() {
  RegisteredModule module;
  wchar_t path[MAX_PATH] = {};
  DWORD bytes = sizeof(path);
  if (RegGetValueW(HKEY_CLASSES_ROOT, kServerKey, nullptr, RRF_RT_REG_SZ, nullptr, path, &bytes) !=
      ERROR_SUCCESS) {
    return module;
  }
  module.path = path;
  module.version = fileVersion(module.path);
  return module;
}
