#pragma once
// The built camera module registered in the test's prefix for as long as the object lives, so
// that real hosts find it; unregistered again however the test ends.
#include <windows.h>

#include <string>

namespace zarn::test {

class RegisteredModule {
 public:
  explicit RegisteredModule(const std::wstring& path);
  ~RegisteredModule();
  RegisteredModule(const RegisteredModule&) = delete;
  RegisteredModule& operator=(const RegisteredModule&) = delete;

  // The result of DllRegisterServer, or E_FAIL when the module could not be loaded.
  HRESULT result() const { return m_result; }

 private:
  HRESULT call(const char* exportName) const;

  HMODULE m_module = nullptr;
  HRESULT m_result = E_FAIL;
  bool m_comStarted = false;
};

}  // namespace zarn::test
