#include "host/paths.h"

#include <windows.h>
#include <shlobj.h>

std::wstring getAppDataFolder() {
  wchar_t folder[MAX_PATH] = {};
  SHGetSpecialFolderPathW(nullptr, folder, CSIDL_APPDATA, FALSE);
  return folder;
}

std::wstring joinPath(const std::wstring& folder, const std::wstring& name) {
  size_t folderEnd = folder.find_last_not_of(L'\\');
  size_t nameStart = name.find_first_not_of(L'\\');
  std::wstring head = folderEnd == std::wstring::npos ? L"" : folder.substr(0, folderEnd + 1);
  std::wstring tail = nameStart == std::wstring::npos ? L"" : name.substr(nameStart);
  return head + L"\\" + tail;
}
