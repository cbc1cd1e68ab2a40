#include "tests/support/child_process.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

namespace zarn::test {
namespace {

std::map<std::string, ChildRoleFn>& roles() {
  static std::map<std::string, ChildRoleFn> table;
  return table;
}

std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

std::wstring quoted(const std::wstring& text) { return L"\"" + text + L"\""; }

}  // namespace

std::wstring executablePath() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return path;
}

bool registerChildRole(const char* role, ChildRoleFn fn) {
  roles()[role] = fn;
  return true;
}

int runChildRole(const std::string& role, const std::vector<std::string>& args) {
  auto found = roles().find(role);
  return found == roles().end() ? -1 : found->second(args);
}

std::wstring executableFolder() {
  const std::wstring path = executablePath();
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::string readFileBytes(const std::wstring& path) {
  std::ifstream in(path.c_str(), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

ChildProcess ChildProcess::startRole(const std::string& role, const std::vector<std::string>& args) {
  std::wstring arguments = L"--child " + widen(role);
  for (const std::string& arg : args) arguments += L" " + quoted(widen(arg));
  return start(executablePath(), arguments);
}

ChildProcess ChildProcess::start(const std::wstring& path, const std::wstring& arguments,
                                 HANDLE output) {
  std::wstring commandLine = quoted(path) + L" " + arguments;
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = output ? output : GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = output ? output : GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION info = {};
  ChildProcess child;
  // Wine on a loaded machine now and then refuses a new process for a moment.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                       nullptr, &startup, &info)) {
      CloseHandle(info.hThread);
      child.m_process = info.hProcess;
      child.m_pid = info.dwProcessId;
      break;
    }
    std::fprintf(stderr, "CreateProcess %ls failed (error %lu)\n", path.c_str(), GetLastError());
    Sleep(500);
  }
  return child;
}

ChildProcess ChildProcess::startWithOutput(const std::wstring& path, const std::wstring& arguments) {
  wchar_t folder[MAX_PATH] = {};
  wchar_t outputPath[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, folder);
  GetTempFileNameW(folder, L"zch", 0, outputPath);
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  HANDLE file = CreateFileW(outputPath, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  ChildProcess child = start(path, arguments, file);
  CloseHandle(file);
  child.m_outputPath = outputPath;
  return child;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept { *this = std::move(other); }

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  if (this != &other) {
    close();
    m_process = std::exchange(other.m_process, nullptr);
    m_pid = std::exchange(other.m_pid, 0);
    m_outputPath = std::exchange(other.m_outputPath, std::wstring());
  }
  return *this;
}

bool ChildProcess::running() const {
  return m_process && WaitForSingleObject(m_process, 0) == WAIT_TIMEOUT;
}

std::optional<DWORD> ChildProcess::wait(DWORD timeoutMs) {
  if (!m_process || WaitForSingleObject(m_process, timeoutMs) != WAIT_OBJECT_0) return std::nullopt;
  DWORD code = 0;
  GetExitCodeProcess(m_process, &code);
  return code;
}

void ChildProcess::kill() {
  if (running()) {
    TerminateProcess(m_process, 99);
    WaitForSingleObject(m_process, 5000);
  }
}

void ChildProcess::close() {
  if (m_process) {
    kill();
    CloseHandle(m_process);
  }
  if (!m_outputPath.empty()) DeleteFileW(m_outputPath.c_str());
}

}  // namespace zarn::test
