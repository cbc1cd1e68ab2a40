// The route of SharedTexHelper without shaders: an unconverted copy, converted by libyuv.
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include "delivery/format_tags.h"
#include "gpu/shared_tex_helper.h"

// Range and matrix have no effect here. The planar rows take every texture as red first, so a
// blue-first one comes out with red and blue exchanged.
bool SharedTexHelper::readPlainFrame(FrameBuffer& target) {
  acquireFrameKey();
  m_context->CopyResource(m_copyTexture, m_sharedTexture);
  releaseFrameKey();
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  if (FAILED(m_context->Map(m_copyTexture, 0, D3D11_MAP_READ, 0, &mapped))) return false;

  const uint8_t* source = static_cast<const uint8_t*>(mapped.pData);
  const int pitch = int(mapped.RowPitch);
  const int width = target.width;
  const int height = target.height;
  const bool blueFirst = m_format == DXGI_FORMAT_B8G8R8A8_UNORM;
  uint8_t* const* plane = target.plane;
  const int32_t* stride = target.stride;
  if (target.fourcc == kTagRGBA) {
    if (blueFirst) {
      libyuv::ARGBCopy(source, pitch, plane[0], stride[0], width, -height);
    } else {
      libyuv::ABGRToARGB(source, pitch, plane[0], stride[0], width, -height);
    }
  } else if (target.fourcc == kTagRGB3) {
    if (blueFirst) {
      libyuv::ARGBToRGB24(source, pitch, plane[0], stride[0], width, -height);
    } else {
      libyuv::ARGBToRAW(source, pitch, plane[0], stride[0], width, -height);
    }
  } else {
    // `rows` rows from `firstRow` on, into chroma rows from `firstRow` / 2 on.
    auto toPlanar = [&](int firstRow, int rows) {
      const uint8_t* from = source + firstRow * pitch;
      uint8_t* y = plane[0] + firstRow * stride[0];
      uint8_t* u = plane[1] + firstRow / 2 * stride[1];
      if (target.fourcc == kTagNV12) {
        libyuv::ABGRToNV12(from, pitch, y, stride[0], u, stride[1], width, rows);
      } else {
        libyuv::ABGRToI420(from, pitch, y, stride[0], u, stride[1],
                           plane[2] + firstRow / 2 * stride[2], stride[2], width, rows);
      }
    };
    toPlanar(0, height & ~1);
    // An odd height would get one chroma row more than the image's layout holds: the last
    // two rows are converted again as a pair instead.
    if (height > 1 && (height & 1)) toPlanar(height - 2, 2);
  }
  m_context->Unmap(m_copyTexture, 0);
  return true;
}
