#include "media/media_sample.h"

#include <dshow.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "media/allocator.h"
#include "media/media_type.h"

namespace {

constexpr DWORD kPropertiesSize = sizeof(AM_SAMPLE2_PROPERTIES);
static_assert(kPropertiesSize == 64, "the properties record is 64 bytes");

// A field of the properties record takes part when the length covers its last byte.
#define END_OF(field) \
  static_cast<DWORD>(offsetof(AM_SAMPLE2_PROPERTIES, field) + sizeof(AM_SAMPLE2_PROPERTIES::field))
constexpr DWORD kEndTypeSpecificFlags = END_OF(dwTypeSpecificFlags);
constexpr DWORD kEndSampleFlags = END_OF(dwSampleFlags);
constexpr DWORD kEndActual = END_OF(lActual);
constexpr DWORD kEndStart = END_OF(tStart);
constexpr DWORD kEndStop = END_OF(tStop);
constexpr DWORD kEndStreamId = END_OF(dwStreamId);
constexpr DWORD kEndMediaType = END_OF(pMediaType);
constexpr DWORD kEndBuffer = END_OF(pbBuffer);
constexpr DWORD kEndBufferSize = END_OF(cbBuffer);
#undef END_OF

}  // namespace

CMediaSample::CMediaSample(LPCTSTR, CBaseAllocator* pAllocator, HRESULT* phr, LPBYTE pBuffer,
                           LONG length)
    : m_dwFlags(0),
      m_dwTypeSpecificFlags(0),
      m_pBuffer(pBuffer),
      m_lActual(length),
      m_cbBuffer(length),
      m_pAllocator(pAllocator),
      m_pNext(nullptr),
      m_Start(0),
      m_End(0),
      m_MediaStart(0),
      m_MediaEnd(0),
      m_pMediaType(nullptr),
      m_dwStreamId(AM_STREAM_MEDIA),
      m_cRef(0) {
  if (length < 0) {
    *phr = VFW_E_BUFFER_OVERFLOW;
    m_cbBuffer = 0;
  }
}

CMediaSample::~CMediaSample() { DeleteMediaType(m_pMediaType); }

STDMETHODIMP CMediaSample::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  if (IsEqualIID(riid, IID_IMediaSample) || IsEqualIID(riid, IID_IMediaSample2) ||
      IsEqualIID(riid, IID_IUnknown)) {
    *ppv = static_cast<IMediaSample2*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMediaSample::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CMediaSample::Release() {
  LONG lRef;
  if (m_cRef == 1) {
    // The only holder: no other thread can touch the count.
    m_cRef = 0;
    lRef = 0;
  } else {
    lRef = InterlockedDecrement(&m_cRef);
  }
  if (lRef == 0) {
    // A reused sample must carry no stale flag or type.
    if (m_dwFlags & Sample_TypeChanged) {
      SetMediaType(nullptr);
    }
    m_dwFlags = 0;
    m_dwTypeSpecificFlags = 0;
    m_dwStreamId = AM_STREAM_MEDIA;
    m_pAllocator->ReleaseBuffer(this);
  }
  return static_cast<ULONG>(lRef);
}

HRESULT CMediaSample::SetPointer(BYTE* ptr, LONG cBytes) {
  if (cBytes < 0) {
    return VFW_E_BUFFER_OVERFLOW;
  }
  m_pBuffer = ptr;
  m_cbBuffer = cBytes;
  m_lActual = cBytes;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** ppBuffer) {
  *ppBuffer = m_pBuffer;
  return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetSize() { return m_cbBuffer; }

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  if (m_dwFlags & Sample_StopValid) {
    *pTimeStart = m_Start;
    *pTimeEnd = m_End;
    return S_OK;
  }
  if (m_dwFlags & Sample_TimeValid) {
    *pTimeStart = m_Start;
    *pTimeEnd = m_Start + 1;
    return VFW_S_NO_STOP_TIME;
  }
  return VFW_E_SAMPLE_TIME_NOT_SET;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  if (!pTimeStart) {
    m_dwFlags &= ~(Sample_TimeValid | Sample_StopValid);
    return S_OK;
  }
  m_Start = *pTimeStart;
  if (pTimeEnd) {
    m_End = *pTimeEnd;
    m_dwFlags |= Sample_TimeValid | Sample_StopValid;
  } else {
    m_dwFlags |= Sample_TimeValid;
    m_dwFlags &= ~Sample_StopValid;
  }
  return S_OK;
}

STDMETHODIMP CMediaSample::IsSyncPoint() { return (m_dwFlags & Sample_SyncPoint) ? S_OK : S_FALSE; }

STDMETHODIMP CMediaSample::SetSyncPoint(BOOL bIsSyncPoint) {
  m_dwFlags = bIsSyncPoint ? (m_dwFlags | Sample_SyncPoint) : (m_dwFlags & ~Sample_SyncPoint);
  return S_OK;
}

STDMETHODIMP CMediaSample::IsPreroll() { return (m_dwFlags & Sample_Preroll) ? S_OK : S_FALSE; }

STDMETHODIMP CMediaSample::SetPreroll(BOOL bIsPreroll) {
  m_dwFlags = bIsPreroll ? (m_dwFlags | Sample_Preroll) : (m_dwFlags & ~Sample_Preroll);
  return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetActualDataLength() { return m_lActual; }

STDMETHODIMP CMediaSample::SetActualDataLength(LONG lActual) {
  if (lActual < 0 || lActual > m_cbBuffer) {
    return VFW_E_BUFFER_OVERFLOW;
  }
  m_lActual = lActual;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType) {
  if (!(m_dwFlags & Sample_TypeChanged)) {
    *ppMediaType = nullptr;
    return S_FALSE;
  }
  *ppMediaType = CreateMediaType(m_pMediaType);
  return *ppMediaType ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* pMediaType) {
  DeleteMediaType(m_pMediaType);
  m_pMediaType = nullptr;
  if (!pMediaType) {
    m_dwFlags &= ~Sample_TypeChanged;
    return S_OK;
  }
  m_pMediaType = CreateMediaType(pMediaType);
  if (!m_pMediaType) {
    m_dwFlags &= ~Sample_TypeChanged;
    return E_OUTOFMEMORY;
  }
  m_dwFlags |= Sample_TypeChanged;
  return S_OK;
}

STDMETHODIMP CMediaSample::IsDiscontinuity() {
  return (m_dwFlags & Sample_Discontinuity) ? S_OK : S_FALSE;
}

STDMETHODIMP CMediaSample::SetDiscontinuity(BOOL bDiscontinuity) {
  m_dwFlags =
      bDiscontinuity ? (m_dwFlags | Sample_Discontinuity) : (m_dwFlags & ~Sample_Discontinuity);
  return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  if (!(m_dwFlags & Sample_MediaTimeValid)) {
    return VFW_E_MEDIA_TIME_NOT_SET;
  }
  *pTimeStart = m_MediaStart;
  *pTimeEnd = m_MediaStart + m_MediaEnd;
  return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  if (!pTimeStart) {
    m_dwFlags &= ~Sample_MediaTimeValid;
    return S_OK;
  }
  if (!pTimeEnd) {
    return E_POINTER;
  }
  m_MediaStart = *pTimeStart;
  // Kept as a 32-bit difference from the start.
  m_MediaEnd = static_cast<LONG>(*pTimeEnd - *pTimeStart);
  m_dwFlags |= Sample_MediaTimeValid;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetProperties(DWORD cbProperties, BYTE* pbProperties) {
  if (cbProperties == 0) {
    return S_OK;
  }
  if (!pbProperties) {
    return E_POINTER;
  }
  AM_SAMPLE2_PROPERTIES props;
  props.cbData = std::min(cbProperties, kPropertiesSize);
  props.dwSampleFlags = m_dwFlags & ~Sample_MediaTimeValid;
  props.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
  props.pbBuffer = m_pBuffer;
  props.cbBuffer = m_cbBuffer;
  props.lActual = m_lActual;
  props.tStart = m_Start;
  props.tStop = m_End;
  props.dwStreamId = m_dwStreamId;
  props.pMediaType = (m_dwFlags & Sample_TypeChanged) ? m_pMediaType : nullptr;
  std::memcpy(pbProperties, &props, props.cbData);
  return S_OK;
}

STDMETHODIMP CMediaSample::SetProperties(DWORD cbProperties, const BYTE* pbProperties) {
  if (cbProperties < sizeof(DWORD)) {
    return S_OK;
  }
  if (!pbProperties) {
    return E_POINTER;
  }
  AM_SAMPLE2_PROPERTIES props = {};
  std::memcpy(&props, pbProperties, std::min(cbProperties, kPropertiesSize));
  if (cbProperties > kPropertiesSize || props.cbData > kPropertiesSize) {
    return E_INVALIDARG;
  }
  const DWORD cbData = std::min(cbProperties, props.cbData);

  // Every check comes before the first assignment, so a refusal changes nothing.
  if (cbData >= kEndSampleFlags) {
    if (props.dwSampleFlags & ~(Sample_ValidFlags & ~Sample_MediaTimeValid)) {
      return E_INVALIDARG;
    }
    if ((props.dwSampleFlags & Sample_TimeValid) && !(m_dwFlags & Sample_TimeValid) &&
        cbData < kEndStop) {
      return E_INVALIDARG;
    }
  }
  if (cbData >= kEndBuffer && props.pbBuffer && props.pbBuffer != m_pBuffer) {
    return E_INVALIDARG;
  }
  if (cbData >= kEndBufferSize) {
    if (props.cbBuffer && props.cbBuffer != m_cbBuffer) {
      return E_INVALIDARG;
    }
    if (props.cbBuffer < props.lActual) {
      return E_INVALIDARG;
    }
  }
  AM_MEDIA_TYPE* pNewType = nullptr;
  if (cbData >= kEndMediaType && (props.dwSampleFlags & Sample_TypeChanged)) {
    if (!props.pMediaType) {
      return E_POINTER;
    }
    pNewType = CreateMediaType(props.pMediaType);
    if (!pNewType) {
      return E_OUTOFMEMORY;
    }
  }

  if (cbData >= kEndStreamId) {
    m_dwStreamId = props.dwStreamId;
  }
  if (cbData >= kEndSampleFlags) {
    m_dwFlags = props.dwSampleFlags | (m_dwFlags & Sample_MediaTimeValid);
  }
  if (cbData >= kEndTypeSpecificFlags) {
    m_dwTypeSpecificFlags = props.dwTypeSpecificFlags;
  }
  if (cbData >= kEndActual) {
    m_lActual = props.lActual;
  }
  if (cbData >= kEndStop) {
    m_End = props.tStop;
  }
  if (cbData >= kEndStart) {
    m_Start = props.tStart;
  }
  if (pNewType) {
    DeleteMediaType(m_pMediaType);
    m_pMediaType = pNewType;
  }
  // The flag says whether a type is held, whatever the caller's flags said.
  m_dwFlags = m_pMediaType ? (m_dwFlags | Sample_TypeChanged) : (m_dwFlags & ~Sample_TypeChanged);
  return S_OK;
}
