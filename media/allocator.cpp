#include "media/allocator.h"

#include <dshow.h>

#include <new>

void CBaseAllocator::CSampleList::Add(CMediaSample* pSample) {
  pSample->m_pNext = m_List;
  m_List = pSample;
  m_nOnList++;
}

CMediaSample* CBaseAllocator::CSampleList::RemoveHead() {
  CMediaSample* pSample = m_List;
  if (pSample) {
    m_List = pSample->m_pNext;
    m_nOnList--;
  }
  return pSample;
}

CBaseAllocator::CBaseAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr, BOOL bEvent,
                               BOOL fEnableReleaseCallback)
    : CUnknown(pName, pUnk),
      m_hSem(nullptr),
      m_lWaiting(0),
      m_lCount(0),
      m_lAllocated(0),
      m_lSize(0),
      m_lAlignment(0),
      m_lPrefix(0),
      m_bChanged(FALSE),
      m_bCommitted(FALSE),
      m_bDecommitInProgress(FALSE),
      m_pNotify(nullptr),
      m_fEnableReleaseCallback(fEnableReleaseCallback) {
  if (bEvent) {
    m_hSem = CreateSemaphoreW(nullptr, 0, 0x7FFFFFFF, nullptr);
    if (!m_hSem) {
      *phr = E_OUTOFMEMORY;
    }
  }
}

CBaseAllocator::~CBaseAllocator() {
  if (m_hSem) {
    CloseHandle(m_hSem);
  }
  if (m_pNotify) {
    m_pNotify->Release();
  }
}

STDMETHODIMP CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (IsEqualIID(riid, IID_IMemAllocator) ||
      (m_fEnableReleaseCallback && IsEqualIID(riid, IID_IMemAllocatorCallbackTemp))) {
    return GetInterface(static_cast<IMemAllocatorCallbackTemp*>(this), ppv);
  }
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                           ALLOCATOR_PROPERTIES* pActual) {
  if (!pActual) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(this);
  ZeroMemory(pActual, sizeof(*pActual));
  if (pRequest->cbAlign != 1) {
    return VFW_E_BADALIGN;
  }
  if (m_bCommitted) {
    return VFW_E_ALREADY_COMMITTED;
  }
  if (m_lFree.GetCount() < m_lAllocated) {
    return VFW_E_BUFFERS_OUTSTANDING;
  }
  *pActual = *pRequest;
  m_lSize = pRequest->cbBuffer;
  m_lCount = pRequest->cBuffers;
  m_lAlignment = pRequest->cbAlign;
  m_lPrefix = pRequest->cbPrefix;
  m_bChanged = TRUE;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* pActual) {
  if (!pActual) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(this);
  pActual->cbBuffer = m_lSize;
  pActual->cBuffers = m_lCount;
  pActual->cbAlign = m_lAlignment;
  pActual->cbPrefix = m_lPrefix;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::Commit() {
  CAutoLock cObjectLock(this);
  if (m_bCommitted) {
    return S_OK;
  }
  m_bCommitted = TRUE;
  if (m_bDecommitInProgress) {
    // Samples are still out, so the properties can't have changed: keep the buffers.
    m_bDecommitInProgress = FALSE;
    return S_OK;
  }
  HRESULT hr = Alloc();
  if (FAILED(hr)) {
    m_bCommitted = FALSE;
    return hr;
  }
  // Committed memory keeps the allocator alive until the last sample is back.
  AddRef();
  return S_OK;
}

STDMETHODIMP CBaseAllocator::Decommit() {
  bool bRelease = false;
  {
    CAutoLock cObjectLock(this);
    if (!m_bCommitted && !m_bDecommitInProgress) {
      return S_OK;
    }
    m_bCommitted = FALSE;
    if (m_lFree.GetCount() < m_lAllocated) {
      m_bDecommitInProgress = TRUE;
    } else {
      m_bDecommitInProgress = FALSE;
      Free();
      bRelease = true;
    }
    // Waiters then fail with VFW_E_NOT_COMMITTED; this frees a blocked worker.
    NotifySample();
  }
  if (bRelease) {
    Release();
  }
  return S_OK;
}

HRESULT CBaseAllocator::Alloc() {
  if (m_lCount <= 0 || m_lSize <= 0 || m_lAlignment <= 0) {
    return VFW_E_SIZENOTSET;
  }
  return S_OK;
}

STDMETHODIMP CBaseAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*,
                                       DWORD dwFlags) {
  *ppBuffer = nullptr;
  for (;;) {
    CMediaSample* pSample;
    {
      CAutoLock cObjectLock(this);
      if (!m_bCommitted) {
        return VFW_E_NOT_COMMITTED;
      }
      pSample = m_lFree.RemoveHead();
      if (!pSample) {
        m_lWaiting++;
      }
    }
    if (pSample) {
      pSample->m_cRef = 1;
      *ppBuffer = pSample;
      return S_OK;
    }
    // The raised waiter count now has no one behind it; the loop absorbs the
    // spurious wake that it will cause.
    if (dwFlags & AM_GBF_NOWAIT) {
      return VFW_E_TIMEOUT;
    }
    WaitForSingleObject(m_hSem, INFINITE);
  }
}

STDMETHODIMP CBaseAllocator::ReleaseBuffer(IMediaSample* pSample) {
  if (!pSample) {
    return E_POINTER;
  }
  bool bRelease = false;
  {
    CAutoLock cObjectLock(this);
    m_lFree.Add(static_cast<CMediaSample*>(pSample));
    NotifySample();
    if (m_bDecommitInProgress && m_lFree.GetCount() == m_lAllocated) {
      Free();
      m_bDecommitInProgress = FALSE;
      bRelease = true;
    }
  }
  if (m_pNotify) {
    m_pNotify->NotifyRelease();
  }
  if (bRelease) {
    Release();
  }
  return S_OK;
}

void CBaseAllocator::NotifySample() {
  if (m_lWaiting != 0) {
    ReleaseSemaphore(m_hSem, m_lWaiting, nullptr);
    m_lWaiting = 0;
  }
}

STDMETHODIMP CBaseAllocator::SetNotify(IMemAllocatorNotifyCallbackTemp* pNotify) {
  CAutoLock cObjectLock(this);
  if (pNotify) {
    pNotify->AddRef();
  }
  if (m_pNotify) {
    m_pNotify->Release();
  }
  m_pNotify = pNotify;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::GetFreeCount(LONG* plBuffersFree) {
  CAutoLock cObjectLock(this);
  *plBuffersFree = m_lCount - m_lAllocated + m_lFree.GetCount();
  return S_OK;
}

CMemAllocator::CMemAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr)
    : CBaseAllocator(pName, pUnk, phr, TRUE, TRUE), m_pBuffer(nullptr) {}

CMemAllocator::~CMemAllocator() {
  Decommit();
  ReallyFree();
}

CUnknown* WINAPI CMemAllocator::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) {
  return new (std::nothrow) CMemAllocator(nullptr, pUnk, phr);
}

STDMETHODIMP CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                          ALLOCATOR_PROPERTIES* pActual) {
  if (!pActual) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(this);
  ZeroMemory(pActual, sizeof(*pActual));
  SYSTEM_INFO sysInfo;
  GetSystemInfo(&sysInfo);
  // A power of two up to the granularity divides it.
  if (pRequest->cbAlign == 0 ||
      (sysInfo.dwAllocationGranularity & static_cast<DWORD>(pRequest->cbAlign - 1)) != 0) {
    return VFW_E_BADALIGN;
  }
  if (m_bCommitted) {
    return VFW_E_ALREADY_COMMITTED;
  }
  if (m_lFree.GetCount() < m_lAllocated) {
    return VFW_E_BUFFERS_OUTSTANDING;
  }
  const LONG lSize = pRequest->cbBuffer + pRequest->cbPrefix;
  const LONG lRemainder = lSize % pRequest->cbAlign;
  const LONG lAligned = lRemainder ? lSize + pRequest->cbAlign - lRemainder : lSize;
  *pActual = *pRequest;
  pActual->cbBuffer = lAligned - pRequest->cbPrefix;
  m_lSize = pActual->cbBuffer;
  m_lCount = pRequest->cBuffers;
  m_lAlignment = pRequest->cbAlign;
  m_lPrefix = pRequest->cbPrefix;
  m_bChanged = TRUE;
  return S_OK;
}

// Keeps the memory: a commit with unchanged properties then costs nothing.
void CMemAllocator::Free() {}

HRESULT CMemAllocator::Alloc() {
  CAutoLock cObjectLock(this);
  HRESULT hr = CBaseAllocator::Alloc();
  if (FAILED(hr)) {
    return hr;
  }
  if (!m_bChanged) {
    return S_OK;
  }
  ReallyFree();
  if (m_lSize < 0 || m_lPrefix < 0 || m_lCount < 0) {
    return E_OUTOFMEMORY;
  }
  LONG lAlignedSize;
  if (__builtin_add_overflow(m_lSize, m_lPrefix, &lAlignedSize)) {
    return E_OUTOFMEMORY;
  }
  if (m_lAlignment > 1) {
    LONG lRemainder = lAlignedSize % m_lAlignment;
    if (lRemainder != 0 &&
        __builtin_add_overflow(lAlignedSize, m_lAlignment - lRemainder, &lAlignedSize)) {
      return E_OUTOFMEMORY;
    }
  }
  const LONGLONG llTotal = static_cast<LONGLONG>(m_lCount) * lAlignedSize;
  if (llTotal > 0x7FFFFFFF) {
    return E_OUTOFMEMORY;
  }
  m_pBuffer = static_cast<LPBYTE>(
      VirtualAlloc(nullptr, static_cast<SIZE_T>(llTotal), MEM_COMMIT, PAGE_READWRITE));
  if (!m_pBuffer) {
    return E_OUTOFMEMORY;
  }
  LPBYTE pNext = m_pBuffer;
  for (; m_lAllocated < m_lCount; m_lAllocated++, pNext += lAlignedSize) {
    CMediaSample* pSample =
        new (std::nothrow) CMediaSample(nullptr, this, &hr, pNext + m_lPrefix, m_lSize);
    if (!pSample) {
      return E_OUTOFMEMORY;
    }
    m_lFree.Add(pSample);
  }
  m_bChanged = FALSE;
  return S_OK;
}

void CMemAllocator::ReallyFree() {
  while (CMediaSample* pSample = m_lFree.RemoveHead()) {
    delete pSample;
  }
  m_lAllocated = 0;
  if (m_pBuffer) {
    VirtualFree(m_pBuffer, 0, MEM_RELEASE);
    m_pBuffer = nullptr;
  }
}
