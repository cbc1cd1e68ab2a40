// The route of SharedTexHelper without shaders: an unconverted copy, converted on the processor.
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>

#include "delivery/format_tags.h"
#include "gpu/shared_tex_helper.h"
#include "gpu/texel_conversion.h"

// Red and blue, matrix and range as the shaders have them, so that a machine without the
// compiler shows the same picture.
bool SharedTexHelper::readPlainFrame(FrameBuffer& target) {
  acquireFrameKey();
  m_context->CopyResource(m_copyTexture, m_sharedTexture);
  releaseFrameKey();
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  if (FAILED(m_context->Map(m_copyTexture, 0, D3D11_MAP_READ, 0, &mapped))) return false;

  const uint8_t* source = static_cast<const uint8_t*>(mapped.pData);
  const int pitch = int(mapped.RowPitch);
  const bool blueFirst = m_format == DXGI_FORMAT_B8G8R8A8_UNORM;
  if (target.fourcc == kTagI420 || target.fourcc == kTagNV12) {
    texelsToPlanar(source, pitch, blueFirst, m_is709, m_isFullRange, target);
  } else {
    uint8_t* rows = target.plane[0];
    const int32_t stride = target.stride[0];
    const int width = target.width;
    // Rows reversed: DirectShow RGB images lie bottom row first.
    const int height = -target.height;
    if (target.fourcc == kTagRGBA) {
      if (blueFirst) {
        libyuv::ARGBCopy(source, pitch, rows, stride, width, height);
      } else {
        libyuv::ABGRToARGB(source, pitch, rows, stride, width, height);
      }
    } else if (blueFirst) {
      libyuv::ARGBToRGB24(source, pitch, rows, stride, width, height);
    } else {
      libyuv::ARGBToRAW(source, pitch, rows, stride, width, height);
    }
    if (!m_isFullRange) limitRgbRange(target);
  }
  m_context->Unmap(m_copyTexture, 0);
  return true;
}
