#include "handle_count.h"

#include <winternl.h>

#include <vector>

namespace {

// SystemExtendedHandleInformation, whose entries carry whole process ids.
const SYSTEM_INFORMATION_CLASS kExtendedHandleInformation = SYSTEM_INFORMATION_CLASS(64);
const OBJECT_INFORMATION_CLASS kObjectTypeInformation = OBJECT_INFORMATION_CLASS(2);
const NTSTATUS kInfoLengthMismatch = NTSTATUS(0xC0000004);

struct HandleEntry {
  PVOID object;
  ULONG_PTR processId;
  ULONG_PTR handleValue;
  ULONG grantedAccess;
  USHORT creatorBackTraceIndex;
  USHORT objectTypeIndex;
  ULONG attributes;
  ULONG reserved;
};

struct HandleTable {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry entries[1];
};

// The handle values of the calling process in the system's handle table.
std::vector<HANDLE> ownHandles() {
  std::vector<HANDLE> handles;
  std::vector<BYTE> buffer(1 << 20);
  for (int tries = 0; tries < 8; ++tries) {
    ULONG needed = 0;
    const NTSTATUS status = NtQuerySystemInformation(kExtendedHandleInformation, buffer.data(),
                                                     ULONG(buffer.size()), &needed);
    if (status == kInfoLengthMismatch) {
      buffer.resize(buffer.size() * 2 + needed);
      continue;
    }
    if (status < 0) break;
    const auto* table = reinterpret_cast<const HandleTable*>(buffer.data());
    const ULONG_PTR self = GetCurrentProcessId();
    for (ULONG_PTR i = 0; i < table->count; ++i) {
      if (table->entries[i].processId == self) {
        handles.push_back(reinterpret_cast<HANDLE>(table->entries[i].handleValue));
      }
    }
    break;
  }
  return handles;
}

std::wstring typeOf(HANDLE handle) {
  alignas(8) BYTE info[1024];
  ULONG length = 0;
  if (NtQueryObject(handle, kObjectTypeInformation, info, sizeof(info), &length) < 0) return L"?";
  const auto* name = reinterpret_cast<const UNICODE_STRING*>(info);
  return std::wstring(name->Buffer, name->Length / sizeof(wchar_t));
}

}  // namespace

DWORD processHandleCount() {
  DWORD count = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &count) && count > 0) return count;
  return DWORD(ownHandles().size());
}

std::map<std::wstring, int> processHandlesByType() {
  std::map<std::wstring, int> types;
  for (HANDLE handle : ownHandles()) ++types[typeOf(handle)];
  return types;
}
