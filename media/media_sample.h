#pragma once

#include <windows.h>
#include <strmif.h>

class CBaseAllocator;

// One buffer of an allocator with its times and flags. Its count reaching 0
// returns it to the allocator; it is never deleted by its own count.
class CMediaSample : public IMediaSample2 {
 public:
  CMediaSample(LPCTSTR pName, CBaseAllocator* pAllocator, HRESULT* phr, LPBYTE pBuffer = nullptr,
               LONG length = 0);
  virtual ~CMediaSample();
  CMediaSample(const CMediaSample&) = delete;
  CMediaSample& operator=(const CMediaSample&) = delete;

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IMediaSample
  STDMETHODIMP GetPointer(BYTE** ppBuffer) override;
  STDMETHODIMP_(LONG) GetSize() override;
  STDMETHODIMP GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  STDMETHODIMP SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  STDMETHODIMP IsSyncPoint() override;
  STDMETHODIMP SetSyncPoint(BOOL bIsSyncPoint) override;
  STDMETHODIMP IsPreroll() override;
  STDMETHODIMP SetPreroll(BOOL bIsPreroll) override;
  STDMETHODIMP_(LONG) GetActualDataLength() override;
  STDMETHODIMP SetActualDataLength(LONG lActual) override;
  STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
  STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
  STDMETHODIMP IsDiscontinuity() override;
  STDMETHODIMP SetDiscontinuity(BOOL bDiscontinuity) override;
  STDMETHODIMP GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
  STDMETHODIMP SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;

  // IMediaSample2
  STDMETHODIMP GetProperties(DWORD cbProperties, BYTE* pbProperties) override;
  STDMETHODIMP SetProperties(DWORD cbProperties, const BYTE* pbProperties) override;

  HRESULT SetPointer(BYTE* ptr, LONG cBytes);

  enum Flags : DWORD {
    Sample_SyncPoint = 0x01,
    Sample_Preroll = 0x02,
    Sample_Discontinuity = 0x04,
    Sample_TypeChanged = 0x08,
    Sample_TimeValid = 0x10,
    Sample_MediaTimeValid = 0x20,
    Sample_TimeDiscontinuity = 0x40,
    Sample_StopValid = 0x100,
    Sample_ValidFlags = 0x1FF,
  };

 protected:
  friend class CBaseAllocator;

  DWORD m_dwFlags;
  DWORD m_dwTypeSpecificFlags;
  LPBYTE m_pBuffer;
  LONG m_lActual;
  LONG m_cbBuffer;
  CBaseAllocator* m_pAllocator;
  CMediaSample* m_pNext;
  REFERENCE_TIME m_Start;
  REFERENCE_TIME m_End;
  LONGLONG m_MediaStart;
  LONG m_MediaEnd;
  AM_MEDIA_TYPE* m_pMediaType;
  DWORD m_dwStreamId;
  volatile LONG m_cRef;
};
