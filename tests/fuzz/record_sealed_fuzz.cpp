// The sealed layout: a header with the sealed length, then the enciphered record. With the
// option flag set the input's record is sealed first, so the fuzzer also steers its fields.
#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "link/frame_cipher.h"
#include "link/frame_region_layout.h"
#include "tests/fuzz/region_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const uint32_t zeroChain[2] = {0, 0};
  static const FrameCipher cipher(reinterpret_cast<const uint8_t*>(g_frameCipherKey.data()),
                                  g_frameCipherKey.size(), zeroChain);
  RegionImage region(data, size, sealed_offset::kSealedRecord);
  uint8_t* bytes = region.bytes.data();
  const size_t regionSize = region.bytes.size();
  if (region.flag && regionSize >= sealed_offset::kSealedRecord + kFrameRecordSize) {
    uint8_t clear[kFrameRecordSize];
    std::copy_n(bytes + sealed_offset::kSealedRecord, kFrameRecordSize, clear);
    cipher.encipher(clear, bytes + sealed_offset::kSealedRecord, kFrameRecordSize, FrameCipher::CBC);
  }
  const uint64_t length = sealedLength(bytes);
  if (length == 0) return 0;

  CaptureFrameRecord record;
  const char* fault = nullptr;
  bool frame = false;
  try {
    frame = readSealedRecord(bytes, regionSize, cipher, 1234, record, fault);
  } catch (const std::invalid_argument&) {
    // The cipher's refusal, which sends the stream to the plain layout.
    if (length % FrameCipher::kBlockSize == 0) abort();
    return 0;
  }
  // Whatever was deciphered lay inside the header area and the region.
  if (!fault && (length > uint64_t(kFrameHeaderSize) ||
                 sealed_offset::kSealedRecord + length > regionSize)) {
    abort();
  }
  if (frame) region.readFrameOf(record);
  return 0;
}
