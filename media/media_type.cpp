#include "media/media_type.h"

#include <uuids.h>

#include <cstring>

namespace {

void InitEmpty(AM_MEDIA_TYPE* pmt) {
  std::memset(pmt, 0, sizeof(*pmt));
  pmt->bFixedSizeSamples = TRUE;
  pmt->lSampleSize = 1;
}

// Video subtypes of the form {XXXXXXXX-0000-0010-8000-00AA00389B71}.
GUID FourccSubtype(DWORD fourcc) {
  GUID subtype = {0, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
  subtype.Data1 = fourcc;
  return subtype;
}

}  // namespace

CMediaType::CMediaType() { InitEmpty(this); }

CMediaType::CMediaType(const GUID* type) {
  InitEmpty(this);
  majortype = *type;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& rt, HRESULT* phr) {
  HRESULT hr = CopyMediaType(this, &rt);
  if (FAILED(hr) && phr) {
    *phr = hr;
  }
}

CMediaType::CMediaType(const CMediaType& rt, HRESULT* phr)
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(rt), phr) {}

CMediaType::~CMediaType() { FreeMediaType(*this); }

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& rt) {
  Set(rt);
  return *this;
}

CMediaType& CMediaType::operator=(const CMediaType& rt) {
  Set(rt);
  return *this;
}

bool CMediaType::operator==(const CMediaType& rt) const {
  if (!IsEqualGUID(majortype, rt.majortype) || !IsEqualGUID(subtype, rt.subtype) ||
      !IsEqualGUID(formattype, rt.formattype) || cbFormat != rt.cbFormat) {
    return false;
  }
  if (cbFormat == 0) {
    return true;
  }
  return pbFormat && rt.pbFormat && std::memcmp(pbFormat, rt.pbFormat, cbFormat) == 0;
}

bool CMediaType::operator!=(const CMediaType& rt) const { return !(*this == rt); }

HRESULT CMediaType::Set(const CMediaType& rt) { return Set(static_cast<const AM_MEDIA_TYPE&>(rt)); }

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& rt) {
  if (&rt == this) {
    return S_OK;
  }
  FreeMediaType(*this);
  return FAILED(CopyMediaType(this, &rt)) ? E_OUTOFMEMORY : S_OK;
}

void CMediaType::SetSampleSize(ULONG sz) {
  if (sz == 0) {
    bFixedSizeSamples = FALSE;
    return;
  }
  bFixedSizeSamples = TRUE;
  lSampleSize = sz;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) {
  if (cbFormat == length) {
    return pbFormat;
  }
  BYTE* pNew = static_cast<BYTE*>(CoTaskMemAlloc(length));
  if (!pNew) {
    return length <= cbFormat ? pbFormat : nullptr;
  }
  if (cbFormat != 0) {
    CoTaskMemFree(pbFormat);
  }
  cbFormat = length;
  pbFormat = pNew;
  return pNew;
}

BOOL CMediaType::SetFormat(const BYTE* pformat, ULONG length) {
  BYTE* pBlock = AllocFormatBuffer(length);
  if (!pBlock) {
    return FALSE;
  }
  std::memcpy(pBlock, pformat, length);
  return TRUE;
}

BOOL CMediaType::IsPartiallySpecified() const {
  return IsEqualGUID(majortype, GUID_NULL) || IsEqualGUID(formattype, GUID_NULL);
}

BOOL CMediaType::MatchesPartial(const CMediaType* ppartial) const {
  if (!IsEqualGUID(ppartial->majortype, GUID_NULL) &&
      !IsEqualGUID(majortype, ppartial->majortype)) {
    return FALSE;
  }
  if (!IsEqualGUID(ppartial->subtype, GUID_NULL) && !IsEqualGUID(subtype, ppartial->subtype)) {
    return FALSE;
  }
  if (!IsEqualGUID(ppartial->formattype, GUID_NULL)) {
    if (!IsEqualGUID(formattype, ppartial->formattype) || cbFormat != ppartial->cbFormat) {
      return FALSE;
    }
    if (cbFormat != 0 && std::memcmp(pbFormat, ppartial->pbFormat, cbFormat) != 0) {
      return FALSE;
    }
  }
  return TRUE;
}

AM_MEDIA_TYPE* WINAPI CreateMediaType(const AM_MEDIA_TYPE* pSrc) {
  AM_MEDIA_TYPE* pmt = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
  if (!pmt) {
    return nullptr;
  }
  if (FAILED(CopyMediaType(pmt, pSrc))) {
    CoTaskMemFree(pmt);
    return nullptr;
  }
  return pmt;
}

void WINAPI DeleteMediaType(AM_MEDIA_TYPE* pmt) {
  if (!pmt) {
    return;
  }
  FreeMediaType(*pmt);
  CoTaskMemFree(pmt);
}

HRESULT WINAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource) {
  *pmtTarget = *pmtSource;
  if (pmtSource->cbFormat != 0) {
    pmtTarget->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(pmtSource->cbFormat));
    if (!pmtTarget->pbFormat) {
      // A failed copy holds nothing, so freeing it later releases nobody's reference.
      pmtTarget->cbFormat = 0;
      pmtTarget->pUnk = nullptr;
      return E_OUTOFMEMORY;
    }
    std::memcpy(pmtTarget->pbFormat, pmtSource->pbFormat, pmtSource->cbFormat);
  }
  if (pmtTarget->pUnk) {
    pmtTarget->pUnk->AddRef();
  }
  return S_OK;
}

void WINAPI FreeMediaType(AM_MEDIA_TYPE& mt) {
  if (mt.cbFormat != 0) {
    CoTaskMemFree(mt.pbFormat);
    mt.cbFormat = 0;
    mt.pbFormat = nullptr;
  }
  if (mt.pUnk) {
    mt.pUnk->Release();
    mt.pUnk = nullptr;
  }
}

GUID WINAPI GetBitmapSubtype(const BITMAPINFOHEADER* pbmiHeader) {
  const DWORD compression = pbmiHeader->biCompression;
  if (compression != BI_RGB && compression != BI_BITFIELDS) {
    return FourccSubtype(compression);
  }
  switch (pbmiHeader->biBitCount) {
    case 1:
      return MEDIASUBTYPE_RGB1;
    case 4:
      return MEDIASUBTYPE_RGB4;
    case 8:
      return MEDIASUBTYPE_RGB8;
    case 16: {
      if (compression == BI_RGB) {
        return MEDIASUBTYPE_RGB555;
      }
      // The three masks follow the header.
      const DWORD* pMask = reinterpret_cast<const DWORD*>(pbmiHeader + 1);
      if (pMask[0] == 0x7C00 && pMask[1] == 0x03E0 && pMask[2] == 0x001F) {
        return MEDIASUBTYPE_RGB555;
      }
      if (pMask[0] == 0xF800 && pMask[1] == 0x07E0 && pMask[2] == 0x001F) {
        return MEDIASUBTYPE_RGB565;
      }
      return GUID_NULL;
    }
    case 24:
      return MEDIASUBTYPE_RGB24;
    case 32:
      return MEDIASUBTYPE_RGB32;
    default:
      return GUID_NULL;
  }
}
