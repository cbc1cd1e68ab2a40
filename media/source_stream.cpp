#include "media/source_stream.h"

#include <dshow.h>

#include <cwchar>

#include "media/source.h"

namespace {

// Room for a decimal int and its terminator.
constexpr size_t kPinIdLength = 12;

}  // namespace

CSourceStream::CSourceStream(LPCTSTR pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName)
    : CAMThread(nullptr),
      CBaseOutputPin(pObjectName, pms, pms->pStateLock(), phr, pName),
      m_pFilter(pms) {
  *phr = m_pFilter->AddPin(this);
}

CSourceStream::~CSourceStream() { m_pFilter->RemovePin(this); }

HRESULT CSourceStream::CheckMediaType(const CMediaType* pMediaType) {
  CAutoLock lock(m_pFilter->pStateLock());
  CMediaType mt;
  GetMediaType(&mt);
  return mt == *pMediaType ? S_OK : E_FAIL;
}

HRESULT CSourceStream::GetMediaType(int iPosition, CMediaType* pMediaType) {
  CAutoLock lock(m_pFilter->pStateLock());
  if (iPosition < 0) {
    return E_INVALIDARG;
  }
  if (iPosition > 0) {
    return VFW_S_NO_MORE_ITEMS;
  }
  return GetMediaType(pMediaType);
}

STDMETHODIMP CSourceStream::QueryId(LPWSTR* Id) {
  if (!Id) {
    return E_POINTER;
  }
  int i = m_pFilter->FindPinNumber(this);
  if (i < 0) {
    return VFW_E_NOT_FOUND;
  }
  *Id = static_cast<LPWSTR>(CoTaskMemAlloc(kPinIdLength * sizeof(WCHAR)));
  if (!*Id) {
    return E_OUTOFMEMORY;
  }
  if (swprintf(*Id, kPinIdLength, L"%d", i + 1) < 0) {
    (*Id)[0] = L'\0';
  }
  return S_OK;
}

HRESULT CSourceStream::Active() {
  CAutoLock lock(m_pFilter->pStateLock());
  if (m_pFilter->IsActive()) {
    return S_FALSE;
  }
  // A source filter may have unconnected pins; they get no thread.
  if (!IsConnected()) {
    return S_OK;
  }
  HRESULT hr = CBaseOutputPin::Active();
  if (FAILED(hr)) {
    return hr;
  }
  if (!Create()) {
    return E_FAIL;
  }
  hr = Init();
  if (FAILED(hr)) {
    return hr;
  }
  return Pause();
}

HRESULT CSourceStream::Inactive() {
  CAutoLock lock(m_pFilter->pStateLock());
  if (!IsConnected()) {
    return S_OK;
  }
  // Decommit first: it wakes a worker blocked in GetDeliveryBuffer, which
  // only then can see the stop command.
  HRESULT hr = CBaseOutputPin::Inactive();
  if (FAILED(hr)) {
    return hr;
  }
  if (ThreadExists()) {
    hr = Stop();
    if (FAILED(hr)) {
      return hr;
    }
    hr = Exit();
    if (FAILED(hr)) {
      return hr;
    }
    Close();
  }
  return S_OK;
}

DWORD CSourceStream::ThreadProc() {
  DWORD com;
  while ((com = GetRequest()) != CMD_INIT) {
    Reply(static_cast<DWORD>(E_UNEXPECTED));
  }
  HRESULT hr = OnThreadCreate();
  if (FAILED(hr)) {
    OnThreadDestroy();
    Reply(static_cast<DWORD>(hr));
    return 1;
  }
  Reply(S_OK);

  for (;;) {
    com = GetRequest();
    if (com == CMD_PAUSE || com == CMD_RUN) {
      Reply(S_OK);
      DoBufferProcessingLoop();
    } else if (com == CMD_STOP) {
      Reply(S_OK);
    } else if (com == CMD_EXIT) {
      Reply(S_OK);
      break;
    } else {
      Reply(static_cast<DWORD>(E_NOTIMPL));
    }
  }
  return FAILED(OnThreadDestroy()) ? 1 : 0;
}

HRESULT CSourceStream::DoBufferProcessingLoop() {
  OnThreadStartPlay();
  for (;;) {
    DWORD com;
    if (CheckRequest(&com)) {
      if (com == CMD_RUN || com == CMD_PAUSE) {
        Reply(S_OK);
      } else if (com == CMD_STOP) {
        // No reply here: the command stays pending for ThreadProc,
        // which gives the one reply.
        return S_FALSE;
      } else {
        Reply(static_cast<DWORD>(E_UNEXPECTED));
      }
      continue;
    }

    IMediaSample* pSample = nullptr;
    HRESULT hr = GetDeliveryBuffer(&pSample, nullptr, nullptr, 0);
    if (FAILED(hr)) {
      // Either the failure clears, or the allocator was decommitted and a
      // command is on its way.
      Sleep(1);
      continue;
    }

    hr = FillBuffer(pSample);
    if (hr == S_OK) {
      hr = Deliver(pSample);
      pSample->Release();
      if (hr != S_OK) {
        // Downstream wants no more.
        return S_OK;
      }
    } else if (hr == S_FALSE) {
      pSample->Release();
      DeliverEndOfStream();
      return S_OK;
    } else {
      pSample->Release();
      DeliverEndOfStream();
      m_pFilter->NotifyEvent(EC_ERRORABORT, hr, 0);
      return hr;
    }
  }
}
