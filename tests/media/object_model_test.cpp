#include <gtest/gtest.h>

#include "media/class_factory.h"
#include "tests/media/media_test_support.h"

namespace {

const CLSID kTestClsid = {
    0x1E0F3A41, 0x7C55, 0x4E2B, {0x9D, 0x77, 0x0A, 0x6C, 0x1F, 0x7B, 0x2E, 0x10}};

// An inner object with one interface, IPersist, which can be aggregated.
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

class ObjectModelTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(m_objectsBefore, CBaseObject::ObjectsActive()); }

  IClassFactory* factory() {
    IClassFactory* factory = nullptr;
    EXPECT_EQ(S_OK,
              DllGetClassObject(kTestClsid, IID_IClassFactory, reinterpret_cast<void**>(&factory)));
    return factory;
  }

  // Also shows an object deleted twice or never.
  LONG m_objectsBefore = CBaseObject::ObjectsActive();
};

TEST_F(ObjectModelTest, FailedLookupsHandOutNothingAndLeaveNoObject) {
  IClassFactory* cf = factory();
  void* object = reinterpret_cast<void*>(1);
  EXPECT_EQ(E_NOINTERFACE, cf->CreateInstance(nullptr, IID_IBaseFilter, &object));
  EXPECT_EQ(nullptr, object);
  cf->Release();
  object = reinterpret_cast<void*>(1);
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, DllGetClassObject(IID_IPersist, IID_IClassFactory, &object));
  EXPECT_EQ(nullptr, object);
  object = reinterpret_cast<void*>(1);
  EXPECT_EQ(E_NOINTERFACE, DllGetClassObject(kTestClsid, IID_IPersist, &object));
  EXPECT_EQ(nullptr, object);
}

TEST_F(ObjectModelTest, AggregatedObjectAnswersThroughTheOuterObject) {
  zarn::test::CountedUnknown outer;
  IClassFactory* cf = factory();
  void* object = nullptr;
  EXPECT_EQ(E_NOINTERFACE, cf->CreateInstance(&outer, IID_IPersist, &object));

  ASSERT_EQ(S_OK, cf->CreateInstance(&outer, IID_IUnknown, &object));
  IUnknown* inner = static_cast<IUnknown*>(object);
  IPersist* persist = nullptr;
  ASSERT_EQ(S_OK, inner->QueryInterface(IID_IPersist, reinterpret_cast<void**>(&persist)));
  EXPECT_EQ(2u, outer.refs);
  // An inner interface asks the outer object, which here knows no other interface.
  void* other = reinterpret_cast<void*>(1);
  EXPECT_EQ(E_NOINTERFACE, persist->QueryInterface(IID_IPersist, &other));
  persist->Release();
  EXPECT_EQ(1u, outer.refs);
  inner->Release();
  cf->Release();
}

TEST_F(ObjectModelTest, ModuleStaysLoadedWhileLockedOrAlive) {
  IClassFactory* cf = factory();
  ASSERT_EQ(S_OK, cf->LockServer(TRUE));
  cf->Release();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());

  cf = factory();
  IPersist* persist = nullptr;
  ASSERT_EQ(S_OK, cf->CreateInstance(nullptr, IID_IPersist, reinterpret_cast<void**>(&persist)));
  ASSERT_EQ(S_OK, cf->LockServer(FALSE));
  cf->Release();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
  persist->Release();
  EXPECT_EQ(S_OK, DllCanUnloadNow());
}

}  // namespace
