#pragma once
// A copy of the running test program installed the way the camera is: in <root>\bin, with the
// recorder named as the application "zarncam pro.exe" beside it or one folder up. The recorder
// writes each command line it is started with to the layout's log.
#include <optional>
#include <string>

#include "tests/support/child_process.h"

namespace zarn::test {

enum class Layout { ApplicationBeside, ApplicationOneUp };

class InstallLayout {
 public:
  // `module`, when given, is copied from beside the test program into <root>\bin as well.
  explicit InstallLayout(Layout layout, const std::wstring& module = L"");
  ~InstallLayout();
  InstallLayout(const InstallLayout&) = delete;
  InstallLayout& operator=(const InstallLayout&) = delete;

  // Starts the installed copy of the test program with `arguments`.
  ChildProcess start(const std::wstring& arguments) const;
  // The recorder's log once it holds `lines` lines, waiting a bounded time for the application.
  std::string waitForLog(size_t lines) const;
  // The recorder's log once no application runs, called after the hosts that could start one
  // have ended: every application started by then has written its line. Nothing if one still
  // runs at the bound.
  std::optional<std::string> settledLog() const;

  bool copied = false;
  const std::wstring& application() const { return m_application; }
  const std::wstring& log() const { return m_log; }
  const std::wstring& module() const { return m_module; }

 private:
  std::wstring m_root;
  std::wstring m_program;
  std::wstring m_application;
  std::wstring m_log;
  std::wstring m_module;
};

}  // namespace zarn::test
