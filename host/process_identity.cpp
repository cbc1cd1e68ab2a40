#include "host/process_identity.h"

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>
#include <optional>
#include <set>

namespace {

// Walks a process snapshot; the entry with `pid`, if any.
std::optional<PROCESSENTRY32W> findProcessEntry(uint32_t pid) {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return std::nullopt;
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  std::optional<PROCESSENTRY32W> found;
  if (!Process32FirstW(snapshot, &entry)) {
    std::printf("!!! Failed to gather information on system processes! \n");
  } else {
    do {
      if (entry.th32ProcessID == pid) {
        found = entry;
        break;
      }
    } while (Process32NextW(snapshot, &entry));
  }
  CloseHandle(snapshot);
  return found;
}

using QueryInformationProcessFn = NTSTATUS(NTAPI*)(HANDLE, PROCESSINFOCLASS, PVOID, ULONG, PULONG);

// The layout that the system fills for ProcessBasicInformation on 64-bit Windows.
struct BasicProcessInformation {
  NTSTATUS exitStatus;
  PVOID pebBaseAddress;
  ULONG_PTR affinityMask;
  LONG basePriority;
  ULONG_PTR uniqueProcessId;
  ULONG_PTR inheritedFromUniqueProcessId;
};
static_assert(sizeof(BasicProcessInformation) == 48, "ProcessBasicInformation is 48 bytes");

std::wstring lowerCase(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return wchar_t(std::towlower(c)); });
  return text;
}

// True if the process's image lies under the Windows folder; false also when it can't be told.
bool runsFromWindowsFolder(HANDLE process, bool& known) {
  wchar_t image[MAX_PATH] = {};
  DWORD length = MAX_PATH;
  known = QueryFullProcessImageNameW(process, 0, image, &length) != FALSE;
  if (!known) return false;
  wchar_t windows[MAX_PATH] = {};
  GetWindowsDirectoryW(windows, MAX_PATH);
  return lowerCase(image).rfind(lowerCase(windows), 0) == 0;
}

}  // namespace

std::wstring getProcessNameByPid(uint32_t pid) {
  auto entry = findProcessEntry(pid);
  return entry ? std::wstring(entry->szExeFile) : std::wstring();
}

bool isProcessRunning(uint32_t pid) {
  return findProcessEntry(pid).has_value();
}

uint32_t getParentProcessId(uint32_t pid, bool acceptEnded, bool skipSystemParent) {
  HMODULE ntdll = LoadLibraryA("Ntdll.dll");
  auto query = ntdll ? reinterpret_cast<QueryInformationProcessFn>(
                           reinterpret_cast<void*>(GetProcAddress(ntdll, "NtQueryInformationProcess")))
                     : nullptr;
  HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
  uint32_t parent = 0;
  if (query && process) {
    BasicProcessInformation info = {};
    ULONG returned = 0;
    NTSTATUS status = query(process, ProcessBasicInformation, &info, sizeof(info), &returned);
    bool alive = DWORD(info.exitStatus) == STILL_ACTIVE;
    if (NT_SUCCESS(status) && returned == sizeof(info) && (acceptEnded || alive)) {
      parent = uint32_t(info.inheritedFromUniqueProcessId);
    }
  }
  if (process) CloseHandle(process);
  if (ntdll) FreeLibrary(ntdll);

  if (parent == 0 || !skipSystemParent) return parent;
  HANDLE parentProcess = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, parent);
  if (!parentProcess) return 0;
  bool known = false;
  bool system = runsFromWindowsFolder(parentProcess, known);
  CloseHandle(parentProcess);
  return known && !system ? parent : 0;
}

uint32_t getRootProcessId(uint32_t pid) {
  // Process ids are reused, so a chain of parents can close into a loop.
  std::set<uint32_t> seen;
  uint32_t root = 0;
  for (uint32_t p = getParentProcessId(pid, false, true); p != 0 && seen.insert(p).second;
       p = getParentProcessId(root, false, true)) {
    root = p;
  }
  return root;
}

std::wstring getProcessImageName(uint32_t pid) {
  std::wstring name = L"unknown";
  HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
  if (!process) return name;
  wchar_t image[MAX_PATH] = {};
  if (K32GetProcessImageFileNameW(process, image, MAX_PATH) > 0) {
    name = image;
    size_t slash = name.rfind(L'\\');
    if (slash != std::wstring::npos) name = name.substr(slash + 1);
  }
  CloseHandle(process);
  return name;
}

bool terminateProcessesByName(const std::wstring& name) {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return false;
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  bool hit = false;
  // The first entry is the system's idle process.
  if (Process32FirstW(snapshot, &entry)) {
    while (Process32NextW(snapshot, &entry)) {
      if (name != entry.szExeFile) continue;
      hit = true;
      HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, entry.th32ProcessID);
      if (process) {
        TerminateProcess(process, 0);
        CloseHandle(process);
      }
    }
  }
  CloseHandle(snapshot);
  return hit;
}
