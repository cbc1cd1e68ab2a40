#pragma once

#include <windows.h>

#include "media/lock.h"

// A worker thread with a blocking command handshake: a client posts one
// command at a time and waits until the worker replies.
class CAMThread {
 public:
  explicit CAMThread(HRESULT* phr = nullptr);
  virtual ~CAMThread();
  CAMThread(const CAMThread&) = delete;
  CAMThread& operator=(const CAMThread&) = delete;

  // FALSE if a thread already exists or none could be made.
  BOOL Create();
  // Posts dwParam and blocks until the worker replies; E_FAIL with no thread.
  DWORD CallWorker(DWORD dwParam);
  // Waits for the next command; it stays pending until Reply.
  DWORD GetRequest();
  // Looks for a pending command without waiting or consuming it.
  BOOL CheckRequest(DWORD* pParam);
  void Reply(DWORD dw);
  // Waits for the thread to end and closes its handle.
  void Close();
  BOOL ThreadExists() const { return m_hThread != nullptr; }

  // Joins the multi-threaded apartment if ole32 is already loaded.
  static HRESULT CoInitializeHelper();

 protected:
  virtual DWORD ThreadProc() = 0;

  CCritSec m_AccessLock;
  CCritSec m_WorkerLock;

 private:
  static DWORD WINAPI InitialThreadProc(LPVOID pv);

  HANDLE m_EventSend;
  HANDLE m_EventComplete;
  volatile DWORD m_dwParam;
  volatile DWORD m_dwReturnVal;
  HANDLE volatile m_hThread;
};
