#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/lock.h"
#include "media/setup.h"
#include "media/unknown.h"

class CBasePin;

// State, clock, graph membership and pin activation of a filter. The derived
// class owns the pins and the lock.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid);
  ~CBaseFilter() override;

  DECLARE_IUNKNOWN

  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IPersist
  STDMETHODIMP GetClassID(CLSID* pClsID) override;

  // IMediaFilter
  STDMETHODIMP Stop() override;
  STDMETHODIMP Pause() override;
  STDMETHODIMP Run(REFERENCE_TIME tStart) override;
  STDMETHODIMP GetState(DWORD dwMSecs, FILTER_STATE* State) override;
  STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override;
  STDMETHODIMP GetSyncSource(IReferenceClock** pClock) override;

  // IBaseFilter
  STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
  STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
  STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override;
  STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
  STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

  // IAMovieSetup
  STDMETHODIMP Register() override;
  STDMETHODIMP Unregister() override;

  virtual HRESULT StreamTime(REFERENCE_TIME& rtStream);
  virtual LONG GetPinVersion();
  virtual int GetPinCount() = 0;
  // The pin at index n, without a reference; null outside the range.
  virtual CBasePin* GetPin(int n) = 0;
  virtual const AMOVIESETUP_FILTER* GetSetupData() { return nullptr; }

  // Sends an event to the graph's sink, if the graph gave one.
  HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);
  void IncrementPinVersion();
  BOOL IsActive();
  BOOL IsStopped() const { return m_State == State_Stopped; }

 protected:
  FILTER_STATE m_State;
  IReferenceClock* m_pClock;
  REFERENCE_TIME m_tStart;
  CLSID m_clsid;
  CCritSec* m_pLock;
  // Guards only the name, the graph and its sink: a peer may ask for them from inside a call that
  // the state lock's holder waits for, such as a delivery that Stop joins.
  CCritSec m_infoLock;
  WCHAR* m_pName;
  IFilterGraph* m_pGraph;
  IMediaEventSink* m_pSink;
  volatile LONG m_PinVersion;
};
