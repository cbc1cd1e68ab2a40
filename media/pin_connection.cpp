#include <dshow.h>

#include "media/base_filter.h"
#include "media/base_pin.h"

namespace {

// Refusals that mean "not this type" rather than a real error.
bool IsTypeRefusal(HRESULT hr) {
  return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED;
}

// S_FALSE from CheckMediaType is a success code and must not pass for agreement.
HRESULT MapCheckResult(HRESULT hr) {
  return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

}  // namespace

STDMETHODIMP CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
  if (!pReceivePin) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(m_pLock);
  if (m_Connected) {
    return VFW_E_ALREADY_CONNECTED;
  }
  if (!IsStopped() && !m_bCanReconnectWhenActive) {
    return VFW_E_NOT_STOPPED;
  }
  HRESULT hr = AgreeMediaType(pReceivePin, static_cast<const CMediaType*>(pmt));
  if (FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  return S_OK;
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) {
  if (pmt && !pmt->IsPartiallySpecified()) {
    return AttemptConnection(pReceivePin, pmt);
  }
  HRESULT hrFailure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (int i = 0; i < 2; i++) {
    IEnumMediaTypes* pEnum = nullptr;
    HRESULT hr = i == static_cast<int>(m_bTryMyTypesFirst) ? pReceivePin->EnumMediaTypes(&pEnum)
                                                           : EnumMediaTypes(&pEnum);
    if (FAILED(hr) || !pEnum) {
      continue;
    }
    hr = TryMediaTypes(pReceivePin, pmt, pEnum);
    pEnum->Release();
    if (SUCCEEDED(hr)) {
      return S_OK;
    }
    if (!IsTypeRefusal(hr)) {
      hrFailure = hr;
    }
  }
  return hrFailure;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) {
  HRESULT hr = pEnum->Reset();
  if (FAILED(hr)) {
    return hr;
  }
  HRESULT hrFailure = S_OK;
  for (;;) {
    AM_MEDIA_TYPE* pMediaType = nullptr;
    ULONG ulFetched = 0;
    if (pEnum->Next(1, &pMediaType, &ulFetched) != S_OK) {
      return hrFailure != S_OK ? hrFailure : VFW_E_NO_ACCEPTABLE_TYPES;
    }
    const CMediaType* pCandidate = static_cast<CMediaType*>(pMediaType);
    hr = VFW_E_NO_ACCEPTABLE_TYPES;
    if (pCandidate && (!pmt || pCandidate->MatchesPartial(pmt))) {
      hr = AttemptConnection(pReceivePin, pCandidate);
      if (FAILED(hr) && hrFailure == S_OK && !IsTypeRefusal(hr)) {
        hrFailure = hr;
      }
    }
    DeleteMediaType(pMediaType);
    if (hr == S_OK) {
      return S_OK;
    }
  }
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
  HRESULT hr = CheckConnect(pReceivePin);
  if (FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  hr = CheckMediaType(pmt);
  if (hr == S_OK) {
    // The pin must look connected while the peer works.
    m_Connected = pReceivePin;
    m_Connected->AddRef();
    hr = SetMediaType(pmt);
    if (SUCCEEDED(hr)) {
      hr = pReceivePin->ReceiveConnection(this, pmt);
      if (SUCCEEDED(hr)) {
        hr = CompleteConnect(pReceivePin);
        if (SUCCEEDED(hr)) {
          return hr;
        }
        pReceivePin->Disconnect();
      }
    }
  } else {
    hr = MapCheckResult(hr);
  }
  BreakConnect();
  if (m_Connected) {
    m_Connected->Release();
    m_Connected = nullptr;
  }
  return hr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
  if (!pConnector || !pmt) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(m_pLock);
  if (m_Connected) {
    return VFW_E_ALREADY_CONNECTED;
  }
  if (!IsStopped() && !m_bCanReconnectWhenActive) {
    return VFW_E_NOT_STOPPED;
  }
  HRESULT hr = CheckConnect(pConnector);
  if (FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  const CMediaType* pType = static_cast<const CMediaType*>(pmt);
  hr = CheckMediaType(pType);
  if (hr != S_OK) {
    BreakConnect();
    return MapCheckResult(hr);
  }
  m_Connected = pConnector;
  m_Connected->AddRef();
  hr = SetMediaType(pType);
  if (SUCCEEDED(hr)) {
    hr = CompleteConnect(pConnector);
    if (SUCCEEDED(hr)) {
      return S_OK;
    }
  }
  m_Connected->Release();
  m_Connected = nullptr;
  BreakConnect();
  return hr;
}

HRESULT CBasePin::CheckConnect(IPin* pPin) {
  // A peer that can't tell its direction counts as facing the same way.
  PIN_DIRECTION pd = m_dir;
  pPin->QueryDirection(&pd);
  return pd == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::BreakConnect() { return S_OK; }

HRESULT CBasePin::CompleteConnect(IPin*) { return S_OK; }
