#include "media/am_thread.h"

#include <objbase.h>

CAMThread::CAMThread(HRESULT* phr)
    : m_EventSend(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_EventComplete(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_dwParam(0),
      m_dwReturnVal(0),
      m_hThread(nullptr) {
  if ((!m_EventSend || !m_EventComplete) && phr) {
    *phr = E_OUTOFMEMORY;
  }
}

CAMThread::~CAMThread() {
  Close();
  if (m_EventSend) {
    CloseHandle(m_EventSend);
  }
  if (m_EventComplete) {
    CloseHandle(m_EventComplete);
  }
}

BOOL CAMThread::Create() {
  CAutoLock lock(&m_AccessLock);
  if (ThreadExists()) {
    return FALSE;
  }
  m_hThread = CreateThread(nullptr, 0, InitialThreadProc, this, 0, nullptr);
  return m_hThread != nullptr;
}

DWORD CAMThread::CallWorker(DWORD dwParam) {
  CAutoLock lock(&m_AccessLock);
  if (!ThreadExists()) {
    return static_cast<DWORD>(E_FAIL);
  }
  m_dwParam = dwParam;
  SetEvent(m_EventSend);
  WaitForSingleObject(m_EventComplete, INFINITE);
  return m_dwReturnVal;
}

DWORD CAMThread::GetRequest() {
  WaitForSingleObject(m_EventSend, INFINITE);
  return m_dwParam;
}

BOOL CAMThread::CheckRequest(DWORD* pParam) {
  if (WaitForSingleObject(m_EventSend, 0) != WAIT_OBJECT_0) {
    return FALSE;
  }
  if (pParam) {
    *pParam = m_dwParam;
  }
  return TRUE;
}

void CAMThread::Reply(DWORD dw) {
  m_dwReturnVal = dw;
  // Reset before completing: after the completion a client may post the next
  // command, which a later reset would erase.
  ResetEvent(m_EventSend);
  SetEvent(m_EventComplete);
}

void CAMThread::Close() {
  HANDLE hThread = InterlockedExchangePointer(&m_hThread, nullptr);
  if (hThread) {
    WaitForSingleObject(hThread, INFINITE);
    CloseHandle(hThread);
  }
}

HRESULT CAMThread::CoInitializeHelper() {
  typedef HRESULT(WINAPI * CoInitializeExFn)(LPVOID, DWORD);
  // Only if the process already has ole32: the worker must not load it.
  HMODULE hOle = GetModuleHandleW(L"ole32.dll");
  if (!hOle) {
    return E_FAIL;
  }
  FARPROC pProc = GetProcAddress(hOle, "CoInitializeEx");
  if (!pProc) {
    return E_FAIL;
  }
  auto pCoInitializeEx = reinterpret_cast<CoInitializeExFn>(reinterpret_cast<void*>(pProc));
  return pCoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
}

DWORD WINAPI CAMThread::InitialThreadProc(LPVOID pv) {
  HRESULT hrCoInit = CoInitializeHelper();
  DWORD dwResult = static_cast<CAMThread*>(pv)->ThreadProc();
  if (SUCCEEDED(hrCoInit)) {
    CoUninitialize();
  }
  return dwResult;
}
