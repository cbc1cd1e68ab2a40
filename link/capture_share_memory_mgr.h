#pragma once
// The frame channel from the mixer: one named region with a record of the newest frame and two
// pixel buffers. Readers (every filter) and the writer (the mixer) share one named mutex.
#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "link/capture_frame_record.h"
#include "link/frame_cipher.h"
#include "link/shared_region.h"

class CaptureShareMemoryMgr {
 public:
  // Opens or creates the mutex at once; the mapping is left for attach or create.
  explicit CaptureShareMemoryMgr(std::wstring baseName);
  ~CaptureShareMemoryMgr() = default;
  CaptureShareMemoryMgr(const CaptureShareMemoryMgr&) = delete;
  CaptureShareMemoryMgr& operator=(const CaptureShareMemoryMgr&) = delete;

  // True: the record is sealed by the cipher. The region itself doesn't say which layout it has.
  void setEncrypted(bool encrypted);

  // Reader side.
  // Maps the existing region; free when already mapped. Readers pass false: they write counters.
  bool attach(bool readOnly);
  // Drops the mapping so that the next attach finds the newest writer's region.
  bool detach();
  // Takes the mutex and copies the newest record. Returns the frame's pixels with the mutex still
  // held (the caller owes unLockReadBuffer), or null with it released when nothing is published.
  // A sealed record that can't be deciphered throws std::exception with the mutex held. Null
  // too, with nothing held, when another process keeps the mutex past the wait's bound.
  uint8_t* lockReadBuffer(CaptureFrameRecord& record);
  // Ends the read that holds the mutex; does nothing when none does, so a guard may call it.
  void unLockReadBuffer();
  uint32_t getRegionSize() const { return m_region.regionSize(); }

  // Ends a read when its scope does, however it ends: a mutex left held by an exception would
  // stop the mixer and every host.
  class ReadHold {
   public:
    explicit ReadHold(CaptureShareMemoryMgr& channel) : m_channel(channel) {}
    ~ReadHold() { m_channel.unLockReadBuffer(); }
    ReadHold(const ReadHold&) = delete;
    ReadHold& operator=(const ReadHold&) = delete;

   private:
    CaptureShareMemoryMgr& m_channel;
  };

  // Writer side, the mixer's half. Both keep a region that exists already, with its layout.
  // The default region, plain layout.
  void create();
  void create(int32_t headerSize, int32_t width, int32_t height, bool encrypted,
              uint32_t creatorValue);
  // True when the last create made the region rather than found it.
  bool createdRegion() const { return m_region.createdNew(); }
  // The buffer to fill next with `bytes`, without a lock; null when there is no region, or when
  // a region left by another writer names a buffer that can't hold them.
  uint8_t* lockWriteBuffer(uint32_t& offset, HANDLE& mapping, uint64_t bytes = 0);
  // Publishes `record` under the mutex; `swap` makes the buffer just filled the complete one.
  // Nothing is published when the mutex can't be had in time.
  void unLockWriteBuffer(CaptureFrameRecord& record, bool swap);

 private:
  const FrameCipher& cipher(const char* creationLogLine);

  SharedRegion m_region;
  bool m_encrypted = false;
  bool m_readLocked = false;
  std::unique_ptr<FrameCipher> m_cipher;
};
