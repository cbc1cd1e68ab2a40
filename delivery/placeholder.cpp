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

}  // namespace

bool CVCamStream::LoadBackground(bool reverseRows) {
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
  m_placeholderRowsReversed = reverseRows;
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
  if (m_placeholderFrame.width == 0 || m_placeholderRowsReversed != reverseRows) {
    LoadBackground(reverseRows);
  }
}

void CVCamStream::copyPlaceholderToSample(BYTE* sampleData) {
  if (m_bitCount != 12) {
    ScaleFrame(m_placeholderFrame.plane[0], m_placeholderFrame.width, m_placeholderFrame.height,
               sampleData, m_widthOutReq, m_heightOutReq, m_bitCount, FrameFitMode::Stretch,
               m_scaledFrame, m_isFlipHost, m_fourcc);
    return;
  }

  // Two conversions per sample would be too many; the planar picture is kept per size.
  if (m_placeholderFrameYuv.width != m_widthOutReq || m_placeholderFrameYuv.height != m_heightOutReq ||
      m_placeholderFrameYuv.fourcc != kTagI420) {
    m_scaledFrame.resize(m_widthOutReq, m_heightOutReq, kTagRGB4);
    // Planar frames are never turned over, so neither is their placeholder.
    ScaleFrame(m_placeholderFrame.plane[0], m_placeholderFrame.width, m_placeholderFrame.height,
               m_scaledFrame.plane[0], m_widthOutReq, m_heightOutReq, 32, FrameFitMode::Stretch,
               m_scaledFrame, false, m_fourcc);
    m_placeholderFrameYuv.resize(m_widthOutReq, m_heightOutReq, kTagI420);
    // Read bottom row first: the picture was loaded for bottom-up RGB samples, planar ones are top-down.
    const FrameBuffer& argb = m_scaledFrame;
    FrameBuffer& yuv = m_placeholderFrameYuv;
    const int32_t height = m_heightOutReq;
    auto toI420 = [&](int32_t firstRow, int32_t rows) {
      libyuv::ARGBToI420(argb.plane[0] + ptrdiff_t(height - 1 - firstRow) * argb.stride[0],
                         -argb.stride[0], yuv.plane[0] + ptrdiff_t(firstRow) * yuv.stride[0],
                         yuv.stride[0], yuv.plane[1] + ptrdiff_t(firstRow / 2) * yuv.stride[1],
                         yuv.stride[1], yuv.plane[2] + ptrdiff_t(firstRow / 2) * yuv.stride[2],
                         yuv.stride[2], m_widthOutReq, rows);
    };
    if (argb.plane[0] && yuv.plane[0]) {
      toI420(0, height & ~1);
      // A whole odd-height frame would get one chroma row more than the layout holds: the last
      // two rows are converted again as a pair instead.
      if (height > 1 && (height & 1)) toI420(height - 2, 2);
    }
  }
  ScaleFrame(m_placeholderFrameYuv.plane[0], m_placeholderFrameYuv.width, m_placeholderFrameYuv.height,
             sampleData, m_widthOutReq, m_heightOutReq, 12, FrameFitMode::Stretch, m_scaledFrame,
             m_isFlipHost, m_fourcc);
}
