#pragma once
// Cross-process tests: a test starts another copy of its own executable in a named role,
// or a program that lies beside it, and waits for it with a bound.
#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace zarn::test {

using ChildRoleFn = int (*)(const std::vector<std::string>& args);

bool registerChildRole(const char* role, ChildRoleFn fn);

// Runs the role named on the command line (`--child <role> args...`); -1 for an unknown role.
int runChildRole(const std::string& role, const std::vector<std::string>& args);

// Defines a role that a child copy of the test executable runs; its result is the exit code.
#define ZARN_CHILD_ROLE(role)                                                       \
  static int zarnChildRole_##role(const std::vector<std::string>& args);          \
  static const bool zarnChildRoleRegistered_##role =                              \
      ::zarn::test::registerChildRole(#role, zarnChildRole_##role);               \
  static int zarnChildRole_##role(const std::vector<std::string>& args)

// The running executable, and its folder with a trailing backslash.
std::wstring executablePath();
std::wstring executableFolder();
// The whole content of a file; empty if it can't be read.
std::string readFileBytes(const std::wstring& path);

class ChildProcess {
 public:
  // This test executable again, running `role`.
  static ChildProcess startRole(const std::string& role, const std::vector<std::string>& args = {});
  // Any program by full path, its standard output and error to `output` when given.
  static ChildProcess start(const std::wstring& path, const std::wstring& arguments,
                            HANDLE output = nullptr);
  // Any program by full path, its standard output and error kept in a file for output().
  static ChildProcess startWithOutput(const std::wstring& path, const std::wstring& arguments);

  ChildProcess() = default;
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  // A child still running when its owner goes is killed, so a failing test leaves nothing behind.
  ~ChildProcess() { close(); }

  bool valid() const { return m_process != nullptr; }
  DWORD pid() const { return m_pid; }
  bool running() const;
  // What a child started with startWithOutput has written so far.
  std::string output() const { return readFileBytes(m_outputPath); }

  // The exit code, or nothing if the child is still running after `timeoutMs`.
  std::optional<DWORD> wait(DWORD timeoutMs);
  // Ends the child at once, as a crash would, with exit code 99.
  void kill();

 private:
  void close();

  HANDLE m_process = nullptr;
  DWORD m_pid = 0;
  std::wstring m_outputPath;
};

// Whether `done` holds within `timeoutMs`, looked at every 50 ms: for what signals no event.
template <typename Done>
bool waitUntil(DWORD timeoutMs, Done done) {
  for (DWORD waited = 0; !done(); waited += 50, Sleep(50)) {
    if (waited >= timeoutMs) return false;
  }
  return true;
}

}  // namespace zarn::test
