// The still picture that stands in for frames while no mixer delivers any.
#include <windows.h>

#include <libyuv.h>

#include "delivery/image_decoder.h"
#include "delivery/scale_frame.h"
#include "diag/log.h"
#include "filter/vcam_stream.h"

namespace {

const WORD kPicture4x3 = 101;
const WORD kPicture16x9 = 103;

// The module that holds this code: the camera module itself, or a test that links the pictures.
HMODULE codeModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&codeModule), &module);
  return module;
}

// Reads bottom row first: the picture was loaded for bottom-up RGB samples, planar ones are
// top-down for every host.
void toPlanarTopDown(const FrameBuffer& argb, FrameBuffer& yuv) {
  if (!argb.plane[0]) return;
  const uint8_t* lastRow = argb.plane[0] + ptrdiff_t(argb.height - 1) * argb.stride[0];
  if (yuv.fourcc == kTagNV12) {
    libyuv::ARGBToNV12(lastRow, -argb.stride[0], yuv.plane[0], yuv.stride[0], yuv.plane[1],
                       yuv.stride[1], yuv.width, yuv.height);
  } else if (yuv.fourcc == kTagI420) {
    libyuv::ARGBToI420(lastRow, -argb.stride[0], yuv.plane[0], yuv.stride[0], yuv.plane[1],
                       yuv.stride[1], yuv.plane[2], yuv.stride[2], yuv.width, yuv.height);
  }
}

}  // namespace

bool CVCamStream::LoadBackground(bool reverseRows) {
  // A picture that is missing or does not decode is tried once, not at every sample.
  m_placeholderLoadTried = true;
  m_placeholderRowsReversed = reverseRows;
  WORD id = isResolusion_43() ? kPicture4x3 : kPicture16x9;
  HMODULE module = codeModule();
  HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), L"PNG");
  if (!found) return false;
  HGLOBAL loaded = LoadResource(module, found);
  if (!loaded) {
    LogPrint(1, "LoadBackground,LoadResource FAILED");
    return false;
  }

  // A picture that does not decode leaves an empty image, and so an empty placeholder.
  DecodedImage image;
  decodeImage(LockResource(loaded), SizeofResource(module, found), image);

  m_placeholderFrame.resize(image.width, image.height, kTagRGB4);
  int32_t height = reverseRows ? -image.height : image.height;
  if (image.bitsPerPixel == 32) {
    libyuv::ARGBScale(image.pixels.data(), image.pitch, image.width, height,
                      m_placeholderFrame.plane[0], m_placeholderFrame.stride[0], image.width,
                      image.height, libyuv::kFilterBox);
  } else if (image.bitsPerPixel == 24) {
    libyuv::RGB24ToARGB(image.pixels.data(), image.pitch, m_placeholderFrame.plane[0],
                        m_placeholderFrame.stride[0], image.width, height);
  }
  return true;
}

void CVCamStream::ensurePlaceholder(bool reverseRows) {
  // The other path's picture lies in the other row order.
  if (!m_placeholderLoadTried || m_placeholderRowsReversed != reverseRows) {
    LoadBackground(reverseRows);
  }
}

void CVCamStream::copyPlaceholderToSample(BYTE* sampleData) {
  const FrameBuffer& picture = m_placeholderFrame;
  if (m_bitCount != 12) {
    ScaleFrame(picture.plane[0], picture.width, picture.height, sampleData, m_widthOutReq,
               m_heightOutReq, m_bitCount, kPlaceholderFit, m_scaledFrame, m_isFlipHost, m_fourcc);
    return;
  }

  // Without a picture the sample keeps what it held, as the packed formats do.
  if (!picture.plane[0]) return;
  // Two conversions per sample would be too many; the planar picture is kept per size and format.
  FrameBuffer& yuv = m_placeholderFrameYuv;
  const int32_t width = m_widthOutReq, height = m_heightOutReq;
  if (yuv.width != width || yuv.height != height || yuv.fourcc != m_fourcc) {
    m_scaledFrame.resize(width, height, kTagRGB4);
    ScaleFrame(picture.plane[0], picture.width, picture.height, m_scaledFrame.plane[0], width,
               height, 32, kPlaceholderFit, m_scaledFrame, false, kTagRGB4);
    yuv.resize(width, height, m_fourcc);
    toPlanarTopDown(m_scaledFrame, yuv);
  }
  ScaleFrame(yuv.plane[0], yuv.width, yuv.height, sampleData, width, height, 12,
             FrameFitMode::Stretch, m_scaledFrame, false, m_fourcc);
}
