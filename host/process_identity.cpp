#include "host/process_identity.h"

#include <windows.h>
#include <tlhelp32.h>

#include <cstdio>
#include <optional>

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

}  // namespace

std::wstring getProcessNameByPid(uint32_t pid) {
  auto entry = findProcessEntry(pid);
  return entry ? std::wstring(entry->szExeFile) : std::wstring();
}

bool isProcessRunning(uint32_t pid) {
  return findProcessEntry(pid).has_value();
}
