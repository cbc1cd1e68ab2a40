#include <gtest/gtest.h>

#include "media/class_factory.h"

namespace {

const CLSID kTestClsid = {
    0x1E0F3A41, 0x7C55, 0x4E2B, {0x9D, 0x77, 0x0A, 0x6C, 0x1F, 0x7B, 0x2E, 0x10}};

// An object with one interface, IPersist.
class PersistObject : public CUnknown, public IPersist {
 public:
  explicit PersistObject(LPUNKNOWN outer) : CUnknown(nullptr, outer) {}
  // Each one freed takes and drops a reference while dying, which must not delete twice.
  ~PersistObject() override {
    NonDelegatingAddRef();
    NonDelegatingRelease();
  }

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (IsEqualIID(riid, IID_IPersist)) {
      return GetInterface(static_cast<IPersist*>(this), ppv);
    }
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
  }
  STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }

  static CUnknown* WINAPI CreateInstance(LPUNKNOWN outer, HRESULT*) {
    return new PersistObject(outer);
  }
};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Test object", &kTestClsid, PersistObject::CreateInstance, nullptr, nullptr},
};
int g_cTemplates = 1;

namespace {

TEST(ObjectModelTest, ModuleStaysLoadedWhileLockedOrAlive) {
  // Also shows an object deleted twice or never.
  const LONG objectsBefore = CBaseObject::ObjectsActive();
  IClassFactory* cf = nullptr;
  auto factory = [&cf] {
    return DllGetClassObject(kTestClsid, IID_IClassFactory, reinterpret_cast<void**>(&cf));
  };
  ASSERT_EQ(S_OK, factory());
  ASSERT_EQ(S_OK, cf->LockServer(TRUE));
  cf->Release();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());

  ASSERT_EQ(S_OK, factory());
  IPersist* persist = nullptr;
  ASSERT_EQ(S_OK, cf->CreateInstance(nullptr, IID_IPersist, reinterpret_cast<void**>(&persist)));
  ASSERT_EQ(S_OK, cf->LockServer(FALSE));
  cf->Release();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
  persist->Release();
  EXPECT_EQ(S_OK, DllCanUnloadNow());
  EXPECT_EQ(objectsBefore, CBaseObject::ObjectsActive());
}

}  // namespace
