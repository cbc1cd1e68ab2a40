#pragma once
// A narrow text stream over a file that other processes may open, append to and truncate
// at the same time, with the platform's text line ends.
#include <windows.h>

#include <ostream>
#include <streambuf>
#include <string>

class SharedFileBuf : public std::streambuf {
 public:
  ~SharedFileBuf() override;
  bool open(const std::wstring& path, std::ios::openmode mode);
  // Writes what is pending and closes; false if nothing was open or either step failed.
  bool close();
  bool isOpen() const;

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

 private:
  bool writePending();

  // The timer thread closes and reopens the file while other threads may be writing to it.
  // A slim lock holds no kernel object, where a contended std::mutex keeps one for good.
  mutable SRWLOCK m_lock = SRWLOCK_INIT;
  HANDLE m_file = INVALID_HANDLE_VALUE;
  bool m_appending = false;
  // Everything since the last flush, so that a flush lands in the file as one write.
  std::string m_pending;
};

class LogStream : public std::ostream {
 public:
  LogStream();

  // Opens for appending (out | app) or emptying (out | trunc) with no restriction on other
  // writers. Clears the state on success, sets the fail state otherwise.
  void open(const std::wstring& path, std::ios::openmode mode);
  // Sets the fail state if there was nothing to close or the close failed.
  void close();
  bool isOpen() const { return m_buf.isOpen(); }

 private:
  SharedFileBuf m_buf;
};
