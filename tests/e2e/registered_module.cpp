#include "tests/e2e/registered_module.h"

#include <objbase.h>

namespace zarn::test {
namespace {

using ServerCall = HRESULT(STDAPICALLTYPE*)();

}  // namespace

RegisteredModule::RegisteredModule(const std::wstring& path) {
  m_comStarted = SUCCEEDED(CoInitialize(nullptr));
  m_module = LoadLibraryW(path.c_str());
  if (m_module) m_result = call("DllRegisterServer");
}

RegisteredModule::~RegisteredModule() {
  // Unregistering after a partial registration is harmless and leaves the prefix clean.
  if (m_module) {
    call("DllUnregisterServer");
    FreeLibrary(m_module);
  }
  if (m_comStarted) CoUninitialize();
}

HRESULT RegisteredModule::call(const char* exportName) const {
  auto entry = reinterpret_cast<ServerCall>(
      reinterpret_cast<void*>(GetProcAddress(m_module, exportName)));
  return entry ? entry() : E_FAIL;
}

}  // namespace zarn::test
