// The plain layout: the record lies in the clear at the region's start.
#include "link/frame_region_layout.h"
#include "tests/fuzz/region_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RegionImage region(data, size, kFrameRecordSize);
  CaptureFrameRecord record;
  if (!readPlainRecord(region.bytes.data(), record)) return 0;
  region.readFrameOf(record);
  countPlainRead(region.bytes.data(), 1234);
  return 0;
}
