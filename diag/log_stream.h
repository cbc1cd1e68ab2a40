#pragma once
// A narrow text stream that appends to a file other processes append to at the same time,
// with the platform's text line ends.
#include <windows.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

#include "diag/log_append_lock.h"

// How a rotation ended. Another host may have rotated the log while this one waited for it.
enum class Rotation { kMoved, kFailed, kDoneElsewhere };

class SharedFileBuf : public std::streambuf {
 public:
  ~SharedFileBuf() override;
  bool open(const std::wstring& path);
  // Writes what is pending and closes; false if nothing was open or either step failed.
  bool close();
  bool isOpen() const;
  // Moves the file to `oldPath`, replacing it, and goes on appending to an empty file. Other
  // processes' appends wait meanwhile, so none is lost or lands inside another. A file that
  // other processes hold open can't be renamed: it is copied and emptied. kFailed when neither
  // worked; the file is then emptied all the same, to keep it bounded. Only a file still larger
  // than `rotateAbove` once the appends wait is rotated.
  Rotation rotate(const std::wstring& path, const std::wstring& oldPath, int64_t rotateAbove);

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

 private:
  bool openLocked(const std::wstring& path);
  bool writePending();

  // The rotation closes and reopens the file while other threads may be writing to it.
  // A slim lock holds no kernel object, where a contended std::mutex keeps one for good.
  mutable SRWLOCK m_lock = SRWLOCK_INIT;
  HANDLE m_file = INVALID_HANDLE_VALUE;
  std::unique_ptr<LogAppendLock> m_appendLock;
  // Everything since the last flush, so that a flush lands in the file as one write.
  std::string m_pending;
  // Lines given up because another process held the append lock too long.
  uint32_t m_dropped = 0;
};

class LogStream : public std::ostream {
 public:
  LogStream();

  // Opens for appending, with no restriction on other writers. Clears the state on success,
  // sets the fail state otherwise.
  void open(const std::wstring& path);
  // Sets the fail state if there was nothing to close or the close failed.
  void close();
  bool isOpen() const { return m_buf.isOpen(); }
  // SharedFileBuf::rotate; the fail state is set if the file could not be opened again.
  Rotation rotate(const std::wstring& path, const std::wstring& oldPath, int64_t rotateAbove);

 private:
  SharedFileBuf m_buf;
};
