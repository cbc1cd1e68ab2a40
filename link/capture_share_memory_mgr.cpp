#include "link/capture_share_memory_mgr.h"

#include <atomic>

#include "diag/log.h"
#include "host/log_throttle.h"
#include "link/frame_region_layout.h"

namespace {

const uint32_t kRefusalLogIntervalMs = 60000;
std::atomic<uint32_t> g_lastRefusalLine{0};

// A writer that keeps publishing a bad header gets one line a minute, for the whole process.
void logRefusedSealedRecord(const char* fault, uint64_t length, uint32_t regionSize) {
  if (!logLineDue(g_lastRefusalLine, kRefusalLogIntervalMs)) return;
  LogPrint(1, "CaptureShareMemoryMgr::lockReadBuffer no frame: %s (sealedLength=%llu region=%u)",
           fault, static_cast<unsigned long long>(length), regionSize);
}

}  // namespace

CaptureShareMemoryMgr::CaptureShareMemoryMgr(std::wstring baseName)
    : m_region(std::move(baseName), true) {}

void CaptureShareMemoryMgr::setEncrypted(bool encrypted) { m_encrypted = encrypted; }

bool CaptureShareMemoryMgr::attach(bool readOnly) {
  if (m_region.view()) return true;
  return m_region.mapOpen(readOnly ? FILE_MAP_READ : FILE_MAP_WRITE);
}

bool CaptureShareMemoryMgr::detach() { return m_region.unmap(); }

const FrameCipher& CaptureShareMemoryMgr::cipher(const char* creationLogLine) {
  if (!m_cipher) {
    LogPrint(1, "%s", creationLogLine);
    const uint32_t zeroChain[2] = {0, 0};
    m_cipher = std::make_unique<FrameCipher>(
        reinterpret_cast<const uint8_t*>(g_frameCipherKey.data()), g_frameCipherKey.size(),
        zeroChain);
  }
  return *m_cipher;
}

uint8_t* CaptureShareMemoryMgr::lockReadBuffer(CaptureFrameRecord& record) {
  // A holder that doesn't let go costs this beat its frame, never the worker.
  if (!m_region.lock()) return nullptr;
  m_readLocked = true;
  uint8_t* region = m_region.view();
  bool frame = false;
  if (!m_encrypted) {
    frame = readPlainRecord(region, record);
  } else if (sealedLength(region) != 0) {
    const FrameCipher& sealer = cipher("CaptureShareMemoryMgr::_lockReadBufferEncry, create");
    const char* fault = nullptr;
    frame = readSealedRecord(region, m_region.regionSize(), sealer, GetCurrentProcessId(), record,
                             fault);
    if (fault) logRefusedSealedRecord(fault, sealedLength(region), m_region.regionSize());
  }
  if (!frame) {
    m_readLocked = false;
    m_region.unlock();
    return nullptr;
  }
  return region + record.readBufferOffset;
}

void CaptureShareMemoryMgr::unLockReadBuffer() {
  // A read whose lock failed, or that was ended already, has no mutex to give back.
  if (!m_readLocked) return;
  m_readLocked = false;
  if (!m_encrypted) countPlainRead(m_region.view(), GetCurrentProcessId());
  m_region.unlock();
}

void CaptureShareMemoryMgr::create() {
  SharedRegion::Hold hold(m_region);
  if (m_region.mapOpen(FILE_MAP_WRITE)) return;
  if (!m_region.mapCreate(kDefaultFrameRegionSize)) return;
  layOutPlainHeader(m_region.view(), kFrameHeaderSize, kDefaultFrameWidth, kDefaultFrameHeight);
}

void CaptureShareMemoryMgr::create(int32_t headerSize, int32_t width, int32_t height,
                                   bool encrypted, uint32_t creatorValue) {
  SharedRegion::Hold hold(m_region);
  if (m_region.mapOpen(FILE_MAP_WRITE)) return;
  const int32_t total = frameRegionSize(headerSize, width, height);
  if (total <= 0 || !m_region.mapCreate(uint32_t(total))) return;
  m_encrypted = encrypted;
  if (encrypted) {
    layOutSealedHeader(m_region.view(), headerSize, width, height, creatorValue);
  } else {
    layOutPlainHeader(m_region.view(), headerSize, width, height);
  }
}

uint8_t* CaptureShareMemoryMgr::lockWriteBuffer(uint32_t& offset, HANDLE& mapping,
                                                uint64_t bytes) {
  uint8_t* region = m_region.view();
  if (!region) return nullptr;
  const uint64_t at = writeBufferOffset(region, m_encrypted);
  const uint64_t size = m_region.regionSize();
  if (at > size || bytes > size - at) return nullptr;
  offset = uint32_t(at);
  mapping = m_region.mappingHandle();
  return region + at;
}

void CaptureShareMemoryMgr::unLockWriteBuffer(CaptureFrameRecord& record, bool swap) {
  SharedRegion::Hold hold(m_region);
  if (!hold) return;
  if (m_encrypted) {
    const FrameCipher& sealer = cipher("CaptureShareMemoryMgr::_unLockWriteBufferEncry, create");
    publishSealedRecord(m_region.view(), sealer, record, swap);
  } else {
    publishPlainRecord(m_region.view(), record, swap);
  }
}
