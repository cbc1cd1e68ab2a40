#include "delivery/image_decoder.h"

#include <windows.h>
#include <objidl.h>
#include <gdiplus.h>

#include <cstring>

namespace {

// GDI+ lives only as long as a decode needs it, as the system's image class would keep it.
class GdiplusSession {
 public:
  GdiplusSession() {
    Gdiplus::GdiplusStartupInput input;
    m_started = Gdiplus::GdiplusStartup(&m_token, &input, nullptr) == Gdiplus::Ok;
  }
  ~GdiplusSession() {
    if (m_started) Gdiplus::GdiplusShutdown(m_token);
  }
  bool started() const { return m_started; }

 private:
  ULONG_PTR m_token = 0;
  bool m_started = false;
};

IStream* streamOverCopy(const void* bytes, size_t size) {
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
  if (!block) return nullptr;
  void* target = GlobalLock(block);
  if (!target) {
    GlobalFree(block);
    return nullptr;
  }
  std::memcpy(target, bytes, size);
  GlobalUnlock(block);
  IStream* stream = nullptr;
  if (FAILED(CreateStreamOnHGlobal(block, TRUE, &stream))) {
    GlobalFree(block);
    return nullptr;
  }
  return stream;
}

bool copyPixels(Gdiplus::GpBitmap* bitmap, Gdiplus::PixelFormat format, DecodedImage& image) {
  Gdiplus::GpRect whole(0, 0, image.width, image.height);
  Gdiplus::BitmapData locked = {};
  if (Gdiplus::DllExports::GdipBitmapLockBits(bitmap, &whole, Gdiplus::ImageLockModeRead, format,
                                              &locked) != Gdiplus::Ok) {
    return false;
  }
  image.pitch = image.width * (image.bitsPerPixel / 8);
  image.pixels.resize(size_t(image.pitch) * image.height);
  for (int32_t row = 0; row < image.height; ++row) {
    const uint8_t* from = static_cast<const uint8_t*>(locked.Scan0) + ptrdiff_t(row) * locked.Stride;
    std::memcpy(&image.pixels[size_t(row) * image.pitch], from, image.pitch);
  }
  Gdiplus::DllExports::GdipBitmapUnlockBits(bitmap, &locked);
  return true;
}

}  // namespace

bool decodeImage(const void* bytes, size_t size, DecodedImage& image) {
  image = DecodedImage();
  GdiplusSession session;
  if (!session.started()) return false;
  IStream* stream = streamOverCopy(bytes, size);
  if (!stream) return false;

  Gdiplus::GpBitmap* bitmap = nullptr;
  bool decoded = Gdiplus::DllExports::GdipCreateBitmapFromStream(stream, &bitmap) == Gdiplus::Ok;
  if (decoded) {
    UINT width = 0, height = 0;
    Gdiplus::PixelFormat format = 0;
    Gdiplus::DllExports::GdipGetImageWidth(bitmap, &width);
    Gdiplus::DllExports::GdipGetImageHeight(bitmap, &height);
    Gdiplus::DllExports::GdipGetImagePixelFormat(bitmap, &format);
    image.width = int32_t(width);
    image.height = int32_t(height);
    image.bitsPerPixel = int32_t(Gdiplus::GetPixelFormatSize(format));
    // Other depths would come out palettised; they are reported without pixels.
    if (image.bitsPerPixel == 24) {
      decoded = copyPixels(bitmap, PixelFormat24bppRGB, image);
    } else if (image.bitsPerPixel == 32) {
      decoded = copyPixels(bitmap, PixelFormat32bppARGB, image);
    }
    Gdiplus::DllExports::GdipDisposeImage(bitmap);
  }
  stream->Release();
  if (!decoded) image = DecodedImage();
  return decoded;
}
