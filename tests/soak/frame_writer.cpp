#include "tests/soak/frame_writer.h"

#include <windows.h>

#include "tests/e2e/output_file.h"
#include "tests/support/install_layout.h"

namespace zarn::test {
namespace {

const wchar_t kFrameMapping[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_SharedMemory_ZarnMixer";
const DWORD kRegionTimeoutMs = 20000;

std::wstring outputPathOf(const std::wstring& exeName) {
  wchar_t temp[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, temp);
  return std::wstring(temp) + L"zarn-soak-" + exeName + L".log";
}

bool frameRegionExists() {
  HANDLE mapping = OpenFileMappingW(FILE_MAP_READ, FALSE, kFrameMapping);
  if (mapping) CloseHandle(mapping);
  return mapping != nullptr;
}

}  // namespace

ChildProcess startFrameWriter(const std::wstring& exeName, const std::wstring& arguments) {
  // Kept apart: their lines about each request would bury the counts in the test's output.
  ChildProcess writer = startWithOutputFile(executableFolder() + exeName, arguments, outputPathOf(exeName));
  for (DWORD waited = 0; writer.running() && waited < kRegionTimeoutMs; waited += 50) {
    if (frameRegionExists()) return writer;
    Sleep(50);
  }
  return ChildProcess();
}

std::string frameWriterOutput(const std::wstring& exeName) {
  return readFileBytes(outputPathOf(exeName));
}

}  // namespace zarn::test
