#include "tests/e2e/output_file.h"

#include <windows.h>

namespace zarn::test {

ChildProcess startWithOutputFile(const std::wstring& path, const std::wstring& arguments,
                                 const std::wstring& outputPath) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  HANDLE file = CreateFileW(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ChildProcess();
  // The child inherits this process's standard handles, so they point at the file while it starts.
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  const HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
  SetStdHandle(STD_OUTPUT_HANDLE, file);
  SetStdHandle(STD_ERROR_HANDLE, file);
  ChildProcess child = ChildProcess::start(path, arguments);
  SetStdHandle(STD_OUTPUT_HANDLE, output);
  SetStdHandle(STD_ERROR_HANDLE, error);
  CloseHandle(file);
  return child;
}

}  // namespace zarn::test
