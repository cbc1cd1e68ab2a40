#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/am_thread.h"
#include "media/base_output_pin.h"
#include "media/media_type.h"

class CSource;

// An output pin with its own worker thread: the worker takes an empty sample,
// has FillBuffer fill it and delivers it, for as long as the filter isn't stopped.
class CSourceStream : public CAMThread, public CBaseOutputPin {
 public:
  CSourceStream(LPCTSTR pObjectName, HRESULT* phr, CSource* pms, LPCWSTR pName);
  ~CSourceStream() override;

  enum Command : DWORD { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };

  HRESULT Init() { return CallWorker(CMD_INIT); }
  HRESULT Exit() { return CallWorker(CMD_EXIT); }
  HRESULT Run() { return CallWorker(CMD_RUN); }
  HRESULT Pause() { return CallWorker(CMD_PAUSE); }
  HRESULT Stop() { return CallWorker(CMD_STOP); }
  using CBasePin::Run;

  // Pin side
  HRESULT Active() override;
  HRESULT Inactive() override;
  // Accepts only the type of the single-type GetMediaType.
  HRESULT CheckMediaType(const CMediaType* pMediaType) override;
  HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
  // The pin's index plus one, in decimal.
  STDMETHODIMP QueryId(LPWSTR* Id) override;

 protected:
  DWORD ThreadProc() override;

  // Fills one sample: S_OK delivers it, S_FALSE ends the stream, a failure aborts it.
  virtual HRESULT FillBuffer(IMediaSample* pSample) = 0;
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay() { return S_OK; }
  virtual HRESULT DoBufferProcessingLoop();
  virtual HRESULT GetMediaType(CMediaType* pMediaType) { return E_UNEXPECTED; }

  CSource* m_pFilter;
};
