#pragma once

#include <windows.h>
#include <strmif.h>

// AM_MEDIA_TYPE that owns its format block and pUnk reference. Adds no field
// and no virtual, so a pointer to one is a pointer to the platform record.
class CMediaType : public AM_MEDIA_TYPE {
 public:
  CMediaType();
  explicit CMediaType(const GUID* majortype);
  CMediaType(const AM_MEDIA_TYPE& rt, HRESULT* phr = nullptr);
  CMediaType(const CMediaType& rt, HRESULT* phr = nullptr);
  ~CMediaType();

  CMediaType& operator=(const AM_MEDIA_TYPE& rt);
  CMediaType& operator=(const CMediaType& rt);
  // Equal major, sub and format types and format bytes; the sample fields don't count.
  bool operator==(const CMediaType& rt) const;
  bool operator!=(const CMediaType& rt) const;

  HRESULT Set(const CMediaType& rt);
  HRESULT Set(const AM_MEDIA_TYPE& rt);

  void SetType(const GUID* ptype) { majortype = *ptype; }
  void SetSubtype(const GUID* ptype) { subtype = *ptype; }
  void SetFormatType(const GUID* pformattype) { formattype = *pformattype; }
  ULONG GetSampleSize() const { return bFixedSizeSamples ? lSampleSize : 0; }
  void SetTemporalCompression(BOOL bCompressed) { bTemporalCompression = bCompressed; }
  // 0 means variable-size samples and leaves lSampleSize alone.
  void SetSampleSize(ULONG sz);

  ULONG FormatLength() const { return cbFormat; }
  BYTE* Format() const { return pbFormat; }
  // Keeps the block on an equal size; on failure keeps it when it is large enough.
  BYTE* AllocFormatBuffer(ULONG length);
  BOOL SetFormat(const BYTE* pformat, ULONG length);

  BOOL IsPartiallySpecified() const;
  BOOL MatchesPartial(const CMediaType* ppartial) const;
};

AM_MEDIA_TYPE* WINAPI CreateMediaType(const AM_MEDIA_TYPE* pSrc);
void WINAPI DeleteMediaType(AM_MEDIA_TYPE* pmt);
HRESULT WINAPI CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource);
void WINAPI FreeMediaType(AM_MEDIA_TYPE& mt);

// The video subtype that a bitmap header describes; the null GUID when there is none.
GUID WINAPI GetBitmapSubtype(const BITMAPINFOHEADER* pbmiHeader);
