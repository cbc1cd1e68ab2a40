#include "media/source.h"

#include <dshow.h>

#include <cwchar>
#include <new>

#include "media/source_stream.h"

CSource::CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid)
    : CBaseFilter(pName, lpunk, &m_cStateLock, clsid), m_iPins(0), m_paStreams(nullptr) {}

CSource::CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT*)
    : CSource(pName, lpunk, clsid) {}

CSource::~CSource() {
  // A host may drop a filter that still runs: its workers end and its pins let go of their peers.
  Stop();
  for (int i = 0; i < m_iPins; i++) {
    m_paStreams[i]->Disconnect();
  }
  // Each stream's destructor takes it out of the array.
  while (m_iPins != 0) {
    delete m_paStreams[m_iPins - 1];
  }
}

HRESULT CSource::AddPin(CSourceStream* pStream) {
  CAutoLock lock(&m_cStateLock);
  CSourceStream** paStreams = new (std::nothrow) CSourceStream*[m_iPins + 1];
  if (!paStreams) {
    return E_OUTOFMEMORY;
  }
  for (int i = 0; i < m_iPins; i++) {
    paStreams[i] = m_paStreams[i];
  }
  delete[] m_paStreams;
  m_paStreams = paStreams;
  m_paStreams[m_iPins] = pStream;
  m_iPins++;
  return S_OK;
}

HRESULT CSource::RemovePin(CSourceStream* pStream) {
  for (int i = 0; i < m_iPins; i++) {
    if (m_paStreams[i] != pStream) {
      continue;
    }
    if (m_iPins == 1) {
      delete[] m_paStreams;
      m_paStreams = nullptr;
    } else {
      for (int j = i; j < m_iPins - 1; j++) {
        m_paStreams[j] = m_paStreams[j + 1];
      }
    }
    m_iPins--;
    return S_OK;
  }
  return S_FALSE;
}

int CSource::GetPinCount() {
  CAutoLock lock(&m_cStateLock);
  return m_iPins;
}

CBasePin* CSource::GetPin(int n) {
  CAutoLock lock(&m_cStateLock);
  if (n < 0 || n >= m_iPins) {
    return nullptr;
  }
  return m_paStreams[n];
}

STDMETHODIMP CSource::FindPin(LPCWSTR Id, IPin** ppPin) {
  if (!ppPin) {
    return E_POINTER;
  }
  // Undoes QueryId: a text with no number gives index -1 and so no pin.
  int i = _wtoi(Id) - 1;
  *ppPin = GetPin(i);
  if (!*ppPin) {
    return VFW_E_NOT_FOUND;
  }
  (*ppPin)->AddRef();
  return S_OK;
}

int CSource::FindPinNumber(IPin* iPin) {
  for (int i = 0; i < m_iPins; i++) {
    if (static_cast<IPin*>(m_paStreams[i]) == iPin) {
      return i;
    }
  }
  return -1;
}
