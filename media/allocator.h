#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/lock.h"
#include "media/media_sample.h"
#include "media/unknown.h"

// Commit, decommit and a blocking free list of samples. The derived class
// owns the memory behind them through Alloc and Free.
class CBaseAllocator : public CUnknown, public IMemAllocatorCallbackTemp, public CCritSec {
 public:
  CBaseAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr, BOOL bEvent,
                 BOOL fEnableReleaseCallback);
  ~CBaseAllocator() override;

  DECLARE_IUNKNOWN

  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IMemAllocator
  STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                             ALLOCATOR_PROPERTIES* pActual) override;
  STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* pActual) override;
  STDMETHODIMP Commit() override;
  STDMETHODIMP Decommit() override;
  STDMETHODIMP GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime,
                         REFERENCE_TIME* pEndTime, DWORD dwFlags) override;
  STDMETHODIMP ReleaseBuffer(IMediaSample* pBuffer) override;

  // IMemAllocatorCallbackTemp
  STDMETHODIMP SetNotify(IMemAllocatorNotifyCallbackTemp* pNotify) override;
  STDMETHODIMP GetFreeCount(LONG* plBuffersFree) override;

 protected:
  // A stack of free samples linked through m_pNext.
  class CSampleList {
   public:
    int GetCount() const { return m_nOnList; }
    void Add(CMediaSample* pSample);
    CMediaSample* RemoveHead();

   private:
    CMediaSample* m_List = nullptr;
    int m_nOnList = 0;
  };

  virtual void Free() = 0;
  virtual HRESULT Alloc();
  // Wakes every thread waiting in GetBuffer; called under the lock.
  void NotifySample();

  CSampleList m_lFree;
  HANDLE m_hSem;
  LONG m_lWaiting;
  LONG m_lCount;
  LONG m_lAllocated;
  LONG m_lSize;
  LONG m_lAlignment;
  LONG m_lPrefix;
  BOOL m_bChanged;
  BOOL m_bCommitted;
  BOOL m_bDecommitInProgress;
  IMemAllocatorNotifyCallbackTemp* m_pNotify;
  BOOL m_fEnableReleaseCallback;
};

// All samples in one page-aligned block.
class CMemAllocator : public CBaseAllocator {
 public:
  CMemAllocator(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
  ~CMemAllocator() override;

  static CUnknown* WINAPI CreateInstance(LPUNKNOWN pUnk, HRESULT* phr);

  STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                             ALLOCATOR_PROPERTIES* pActual) override;

 protected:
  void Free() override;
  HRESULT Alloc() override;
  void ReallyFree();

  LPBYTE m_pBuffer;
};
