#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/lock.h"
#include "media/media_type.h"
#include "media/unknown.h"

class CBaseFilter;

// A pin's fields, its simple IPin operations and the connection logic. A pin
// has no reference count of its own: its references go to the filter.
class CBasePin : public CUnknown, public IPin, public IQualityControl {
 public:
  CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
           PIN_DIRECTION dir);
  ~CBasePin() override;

  DECLARE_IUNKNOWN

  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
  STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

  // IPin
  STDMETHODIMP Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP Disconnect() override;
  STDMETHODIMP ConnectedTo(IPin** pPin) override;
  STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP QueryPinInfo(PIN_INFO* pInfo) override;
  STDMETHODIMP QueryDirection(PIN_DIRECTION* pPinDir) override;
  STDMETHODIMP QueryId(LPWSTR* Id) override;
  STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
  STDMETHODIMP QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
  STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

  // IQualityControl
  STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;
  STDMETHODIMP SetSink(IQualityControl* piqc) override;

  virtual LONG GetMediaTypeVersion();
  // Called by the filter, under its lock, when it leaves or enters Stopped.
  virtual HRESULT Active();
  virtual HRESULT Inactive();
  virtual HRESULT Run(REFERENCE_TIME tStart);
  virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
  virtual HRESULT SetMediaType(const CMediaType* pmt);
  virtual HRESULT CheckConnect(IPin* pPin);
  virtual HRESULT BreakConnect();
  virtual HRESULT CompleteConnect(IPin* pReceivePin);
  // The type at iPosition: S_OK, VFW_S_NO_MORE_ITEMS past the end.
  virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);

  BOOL IsConnected() const { return m_Connected != nullptr; }
  BOOL IsStopped() const;
  LPCWSTR Name() const { return m_pName; }
  void IncrementTypeVersion();

 protected:
  HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);
  HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);
  HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);

  WCHAR* m_pName;
  IPin* m_Connected;
  PIN_DIRECTION m_dir;
  CCritSec* m_pLock;
  bool m_bRunTimeError;
  bool m_bCanReconnectWhenActive;
  bool m_bTryMyTypesFirst;
  CBaseFilter* m_pFilter;
  IQualityControl* m_pQSink;
  volatile LONG m_TypeVersion;
  CMediaType m_mt;
  REFERENCE_TIME m_tStart;
  REFERENCE_TIME m_tStop;
  double m_dRate;
};
