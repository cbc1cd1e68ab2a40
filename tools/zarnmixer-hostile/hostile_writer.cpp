#include "tools/zarnmixer-hostile/hostile_writer.h"

#include <windows.h>
#include <timeapi.h>

#include <cstdio>

#include "link/byte_order.h"
#include "link/frame_cipher.h"
#include "link/frame_region_layout.h"
#include "link/shared_region.h"
#include "tools/zarnmixer-hostile/hostile_records.h"

namespace {

const wchar_t kFrameRegionName[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
const wchar_t kFrameEventName[] = L"ZARNCAM_INT_DEF_SINGLE_SYNFRAME_EVENT_20180212";

struct Counts {
  unsigned sealed = 0;
  unsigned plain = 0;
  unsigned noise = 0;
  unsigned wellFormed = 0;
};

// Opens the region a mixer left, or makes a sealed one for the size asked.
bool openRegion(SharedRegion& region, const HostileOptions& options) {
  SharedRegion::Hold hold(region);
  if (region.mapOpen(FILE_MAP_WRITE)) return true;
  const int32_t size = frameRegionSize(kFrameHeaderSize, options.regionWidth, options.regionHeight);
  if (!region.mapCreate(uint32_t(size))) return false;
  layOutSealedHeader(region.view(), kFrameHeaderSize, options.regionWidth, options.regionHeight,
                     GetCurrentProcessId());
  return true;
}

void publish(SharedRegion& region, const FrameCipher& cipher, HostileRecords& records,
             HostilePublication& publication) {
  SharedRegion::Hold hold(region);
  uint8_t* view = region.view();
  switch (publication.layout) {
    case HostileLayout::Sealed:
      publishSealedRecord(view, cipher, publication.record, false);
      storeLittleEndian64(view + sealed_offset::kReadBufferOffset, publication.readBufferOffset);
      storeLittleEndian64(view + sealed_offset::kWriteBufferOffset, publication.writeBufferOffset);
      storeLittleEndian64(view + sealed_offset::kSealedLength, publication.sealedLength);
      break;
    case HostileLayout::Plain:
      encodeFrameRecord(publication.record, view);
      break;
    case HostileLayout::Noise:
      records.fill(view, kFrameHeaderSize);
      break;
  }
}

}  // namespace

int runHostileWriter(const HostileOptions& options, uint64_t seed) {
  SharedRegion region(kFrameRegionName, true);
  if (!openRegion(region, options)) {
    std::fprintf(stderr, "zarnmixer-hostile: cannot open or create the frame region (error %lu)\n",
                 GetLastError());
    return 1;
  }
  HANDLE frameEvent = OpenEventW(EVENT_ALL_ACCESS, FALSE, kFrameEventName);
  if (!frameEvent) frameEvent = CreateEventW(nullptr, FALSE, FALSE, kFrameEventName);
  const uint32_t noChain[2] = {0, 0};
  const FrameCipher cipher(reinterpret_cast<const uint8_t*>(g_frameCipherKey.data()),
                           g_frameCipherKey.size(), noChain);
  std::printf("seed %llu, region %u KB, %d records a second for %.1f s\n",
              static_cast<unsigned long long>(seed), region.regionSize() / 1024, options.rate,
              options.seconds);
  std::fflush(stdout);

  HostileRecords records(seed, region.regionSize(), options.regionWidth, options.regionHeight);
  Counts counts;
  const DWORD start = timeGetTime();
  const DWORD limitMs = DWORD(options.seconds * 1000);
  const DWORD periodMs = DWORD(1000 / options.rate);
  const HANDLE until =
      options.untilEvent.empty() ? nullptr : OpenEventA(SYNCHRONIZE, FALSE, options.untilEvent.c_str());
  bool ended = false;
  while (!ended && timeGetTime() - start < limitMs) {
    HostilePublication publication = records.next(timeGetTime());
    publish(region, cipher, records, publication);
    SetEvent(frameEvent);
    counts.sealed += publication.layout == HostileLayout::Sealed;
    counts.plain += publication.layout == HostileLayout::Plain;
    counts.noise += publication.layout == HostileLayout::Noise;
    counts.wellFormed += publication.wellFormed;
    if (until) {
      ended = WaitForSingleObject(until, periodMs) == WAIT_OBJECT_0;
    } else {
      Sleep(periodMs);
    }
  }
  if (until) CloseHandle(until);
  if (frameEvent) CloseHandle(frameEvent);
  std::printf("published %u records (sealed %u, plain %u, header noise %u; %u well-formed)\n",
              counts.sealed + counts.plain + counts.noise, counts.sealed, counts.plain,
              counts.noise, counts.wellFormed);
  return 0;
}
