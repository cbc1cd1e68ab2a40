#pragma once
// A filter graph of the test's own, as strict as a real one about its lock: every call that
// changes a connection or a state takes it, and Reconnect lets go of both pins before it connects.
#include <dshow.h>

#include "media/lock.h"

class FakeGraph : public IFilterGraph {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    if (riid != IID_IUnknown && riid != IID_IFilterGraph) return E_NOINTERFACE;
    *ppv = static_cast<IFilterGraph*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return InterlockedIncrement(&refs); }
  STDMETHODIMP_(ULONG) Release() override { return InterlockedDecrement(&refs); }

  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) override {
    CAutoLock lock(&m_lock);
    return out->Connect(in, type);
  }
  STDMETHODIMP Reconnect(IPin* out) override {
    CAutoLock lock(&m_lock);
    IPin* in = nullptr;
    HRESULT hr = out->ConnectedTo(&in);
    if (FAILED(hr)) return hr;
    hr = out->Disconnect();
    if (SUCCEEDED(hr)) hr = in->Disconnect();
    if (SUCCEEDED(hr)) hr = out->Connect(in, nullptr);
    in->Release();
    return hr;
  }
  STDMETHODIMP Disconnect(IPin* pin) override { return pin->Disconnect(); }
  STDMETHODIMP SetDefaultSyncSource() override { return S_OK; }

  // A state change as the graph's own control makes it: under the graph's lock.
  template <typename Change>
  HRESULT change(Change change) {
    CAutoLock lock(&m_lock);
    return change();
  }

  LONG refs = 0;

 private:
  CCritSec m_lock;
};
