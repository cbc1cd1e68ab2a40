#include "diag/log_stream.h"

namespace {

// Wine appends by taking the size and then writing there, which two processes can interleave.
// An exclusive lock on a byte far past any log's end keeps their appends apart; no one reads
// or writes that byte, so the lock is never in anybody's way.
constexpr DWORD kAppendLockOffsetHigh = 0x100;

bool lockForAppend(HANDLE file, bool lock) {
  OVERLAPPED at = {};
  at.OffsetHigh = kAppendLockOffsetHigh;
  return lock ? LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at) != FALSE
              : UnlockFileEx(file, 0, 1, 0, &at) != FALSE;
}

class ExclusiveHold {
 public:
  explicit ExclusiveHold(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
  ~ExclusiveHold() { ReleaseSRWLockExclusive(&m_lock); }
  ExclusiveHold(const ExclusiveHold&) = delete;
  ExclusiveHold& operator=(const ExclusiveHold&) = delete;

 private:
  SRWLOCK& m_lock;
};

}  // namespace

SharedFileBuf::~SharedFileBuf() { close(); }

bool SharedFileBuf::open(const std::wstring& path, std::ios::openmode mode) {
  ExclusiveHold hold(m_lock);
  if (m_file != INVALID_HANDLE_VALUE) return false;
  // Append-only access makes each write land whole at the end, whoever else appends meanwhile.
  // Reading is asked for too, because byte-range locks need it.
  bool truncate = (mode & std::ios::trunc) != 0;
  m_appending = !truncate;
  m_file = CreateFileW(path.c_str(), truncate ? GENERIC_WRITE : GENERIC_READ | FILE_APPEND_DATA,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, truncate ? CREATE_ALWAYS : OPEN_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
  return m_file != INVALID_HANDLE_VALUE;
}

bool SharedFileBuf::close() {
  ExclusiveHold hold(m_lock);
  if (m_file == INVALID_HANDLE_VALUE) return false;
  bool written = writePending();
  bool closed = CloseHandle(m_file) != FALSE;
  m_file = INVALID_HANDLE_VALUE;
  return written && closed;
}

bool SharedFileBuf::isOpen() const {
  ExclusiveHold hold(m_lock);
  return m_file != INVALID_HANDLE_VALUE;
}

SharedFileBuf::int_type SharedFileBuf::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  char one = traits_type::to_char_type(c);
  return xsputn(&one, 1) == 1 ? c : traits_type::eof();
}

std::streamsize SharedFileBuf::xsputn(const char* text, std::streamsize count) {
  ExclusiveHold hold(m_lock);
  if (m_file == INVALID_HANDLE_VALUE) return 0;
  for (std::streamsize i = 0; i < count; ++i) {
    if (text[i] == '\n') m_pending += '\r';
    m_pending += text[i];
  }
  return count;
}

int SharedFileBuf::sync() {
  ExclusiveHold hold(m_lock);
  return m_file != INVALID_HANDLE_VALUE && writePending() ? 0 : -1;
}

bool SharedFileBuf::writePending() {
  if (m_pending.empty()) return true;
  bool locked = m_appending && lockForAppend(m_file, true);
  DWORD written = 0;
  bool ok = WriteFile(m_file, m_pending.data(), static_cast<DWORD>(m_pending.size()), &written, nullptr) &&
            written == m_pending.size();
  if (locked) lockForAppend(m_file, false);
  m_pending.clear();
  return ok;
}

LogStream::LogStream() : std::ostream(&m_buf) {}

void LogStream::open(const std::wstring& path, std::ios::openmode mode) {
  if (m_buf.open(path, mode)) {
    clear();
  } else {
    setstate(std::ios::failbit);
  }
}

void LogStream::close() {
  if (!m_buf.close()) setstate(std::ios::failbit);
}
