#include "media/base_output_pin.h"

#include <dshow.h>

CBaseOutputPin::CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock,
                               HRESULT* phr, LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_OUTPUT),
      m_pAllocator(nullptr),
      m_pInputPin(nullptr) {}

CBaseOutputPin::~CBaseOutputPin() = default;

STDMETHODIMP CBaseOutputPin::EndOfStream() { return E_UNEXPECTED; }

STDMETHODIMP CBaseOutputPin::BeginFlush() { return E_UNEXPECTED; }

STDMETHODIMP CBaseOutputPin::EndFlush() { return E_UNEXPECTED; }

HRESULT CBaseOutputPin::Active() {
  if (!m_pAllocator) {
    return VFW_E_NO_ALLOCATOR;
  }
  return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
  m_bRunTimeError = false;
  if (!m_pAllocator) {
    return VFW_E_NO_ALLOCATOR;
  }
  return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
  HRESULT hr = CBasePin::CheckConnect(pPin);
  if (FAILED(hr)) {
    return hr;
  }
  return pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
}

HRESULT CBaseOutputPin::BreakConnect() {
  if (m_pAllocator) {
    // Decommit here: the downstream pin may not, and the memory would stay committed.
    HRESULT hr = m_pAllocator->Decommit();
    if (FAILED(hr)) {
      return hr;
    }
    m_pAllocator->Release();
    m_pAllocator = nullptr;
  }
  if (m_pInputPin) {
    m_pInputPin->Release();
    m_pInputPin = nullptr;
  }
  return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
  return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
  *ppAlloc = nullptr;
  ALLOCATOR_PROPERTIES prop = {};
  pPin->GetAllocatorRequirements(&prop);
  if (prop.cbAlign == 0) {
    prop.cbAlign = 1;
  }
  // Sizes the allocator just obtained and hands it to the peer; on failure it is let go.
  auto agree = [&](HRESULT obtained) {
    HRESULT hr = obtained;
    if (SUCCEEDED(hr)) hr = DecideBufferSize(*ppAlloc, &prop);
    // FALSE: our samples are not read-only.
    if (SUCCEEDED(hr)) hr = pPin->NotifyAllocator(*ppAlloc, FALSE);
    if (FAILED(hr) && *ppAlloc) {
      (*ppAlloc)->Release();
      *ppAlloc = nullptr;
    }
    return hr;
  };
  HRESULT hr = agree(pPin->GetAllocator(ppAlloc));
  if (SUCCEEDED(hr)) return S_OK;
  hr = agree(InitAllocator(ppAlloc));
  return SUCCEEDED(hr) ? S_OK : hr;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                          REFERENCE_TIME* pEndTime, DWORD dwFlags) {
  if (!m_pAllocator) {
    return E_NOINTERFACE;
  }
  return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
  if (!m_pInputPin) {
    return VFW_E_NOT_CONNECTED;
  }
  return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc) {
  return CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                          reinterpret_cast<void**>(ppAlloc));
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  if (!m_Connected) {
    return VFW_E_NOT_CONNECTED;
  }
  return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
  if (!m_Connected) {
    return VFW_E_NOT_CONNECTED;
  }
  return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
  if (!m_Connected) {
    return VFW_E_NOT_CONNECTED;
  }
  return m_Connected->EndFlush();
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop,
                                          double dRate) {
  if (!m_Connected) {
    return VFW_E_NOT_CONNECTED;
  }
  return m_Connected->NewSegment(tStart, tStop, dRate);
}
