#include "diag/log_stream.h"

#include <algorithm>
#include <sstream>

#include "diag/exclusive_hold.h"
#include "diag/log_state.h"

namespace {

// Far above any single append, well below what stalls a host's frames for long: a host that
// is suspended while it holds the lock costs every other host one wait, then drops.
constexpr DWORD kAppendWaitMs = 500;
// The rotation copies up to 20 MiB under the lock, but waits longer for it than a line.
constexpr DWORD kRotateWaitMs = 5000;
constexpr DWORD kCopyChunk = 1 << 20;

HANDLE openShared(const std::wstring& path, DWORD access, DWORD disposition) {
  return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Reads past other processes' open handles, which CopyFileW does not.
bool copyShared(const std::wstring& from, const std::wstring& to) {
  HANDLE source = openShared(from, GENERIC_READ, OPEN_EXISTING);
  if (source == INVALID_HANDLE_VALUE) return false;
  HANDLE target = CreateFileW(to.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
  bool ok = target != INVALID_HANDLE_VALUE;
  std::string chunk(kCopyChunk, '\0');
  DWORD got = 0;
  while (ok && ReadFile(source, chunk.data(), kCopyChunk, &got, nullptr) && got > 0) {
    DWORD written = 0;
    ok = WriteFile(target, chunk.data(), got, &written, nullptr) && written == got;
  }
  if (target != INVALID_HANDLE_VALUE) CloseHandle(target);
  CloseHandle(source);
  return ok;
}

int64_t fileSize(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
  return int64_t(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

void empty(const std::wstring& path) {
  HANDLE file = openShared(path, GENERIC_WRITE, TRUNCATE_EXISTING);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

}  // namespace

SharedFileBuf::~SharedFileBuf() { close(); }

bool SharedFileBuf::open(const std::wstring& path) {
  ExclusiveHold hold(m_lock);
  if (m_file != INVALID_HANDLE_VALUE) return false;
  return openLocked(path);
}

bool SharedFileBuf::openLocked(const std::wstring& path) {
  // Append-only access makes each write land at the end, whoever else appends meanwhile.
  m_file = openShared(path, FILE_APPEND_DATA, OPEN_ALWAYS);
  if (m_file == INVALID_HANDLE_VALUE) return false;
  if (!m_appendLock) m_appendLock = std::make_unique<LogAppendLock>(path);
  return true;
}

bool SharedFileBuf::close() {
  ExclusiveHold hold(m_lock);
  if (m_file == INVALID_HANDLE_VALUE) return false;
  bool written = writePending();
  bool closed = CloseHandle(m_file) != FALSE;
  m_file = INVALID_HANDLE_VALUE;
  m_appendLock.reset();
  return written && closed;
}

bool SharedFileBuf::isOpen() const {
  ExclusiveHold hold(m_lock);
  return m_file != INVALID_HANDLE_VALUE;
}

Rotation SharedFileBuf::rotate(const std::wstring& path, const std::wstring& oldPath,
                              int64_t rotateAbove) {
  ExclusiveHold hold(m_lock);
  if (m_file != INVALID_HANDLE_VALUE) {
    writePending();
    CloseHandle(m_file);
    m_file = INVALID_HANDLE_VALUE;
  }
  if (!m_appendLock) m_appendLock = std::make_unique<LogAppendLock>(path);
  // Rotated even when another process keeps the lock: the log must stay bounded.
  const bool locked = m_appendLock->acquire(kRotateWaitMs);
  // Looked at again under the lock: a host that rotated meanwhile left a small file, which would
  // replace the generation it has just moved aside.
  Rotation result = Rotation::kDoneElsewhere;
  if (fileSize(path) > rotateAbove) {
    DeleteFileW(oldPath.c_str());
    bool moved = MoveFileW(path.c_str(), oldPath.c_str()) != FALSE;
    if (!moved) {
      moved = copyShared(path, oldPath);
      empty(path);
    }
    result = moved ? Rotation::kMoved : Rotation::kFailed;
  }
  openLocked(path);
  if (locked) m_appendLock->release();
  return result;
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
  // Once lines were dropped the holder is likely still stuck: no more waiting until it is gone.
  // A drop is no failure: a failed stream would stay failed and write nothing ever again.
  if (!m_appendLock->acquire(m_dropped ? 0 : kAppendWaitMs)) {
    m_dropped += uint32_t(std::count(m_pending.begin(), m_pending.end(), '\n'));
    m_pending.clear();
    return true;
  }
  if (m_dropped) {
    std::ostringstream report;
    beginDirectLine(report, logTimeStamp())
        << "log lines dropped while another process held the log: " << m_dropped << "\r\n";
    m_pending.insert(0, report.str());
  }
  DWORD written = 0;
  bool ok = WriteFile(m_file, m_pending.data(), static_cast<DWORD>(m_pending.size()), &written, nullptr) &&
            written == m_pending.size();
  m_appendLock->release();
  m_pending.clear();
  m_dropped = 0;
  return ok;
}

LogStream::LogStream() : std::ostream(&m_buf) {}

void LogStream::open(const std::wstring& path) {
  if (m_buf.open(path)) {
    clear();
  } else {
    setstate(std::ios::failbit);
  }
}

void LogStream::close() {
  if (!m_buf.close()) setstate(std::ios::failbit);
}

Rotation LogStream::rotate(const std::wstring& path, const std::wstring& oldPath,
                          int64_t rotateAbove) {
  const Rotation result = m_buf.rotate(path, oldPath, rotateAbove);
  if (m_buf.isOpen()) {
    clear();
  } else {
    setstate(std::ios::failbit);
  }
  return result;
}
