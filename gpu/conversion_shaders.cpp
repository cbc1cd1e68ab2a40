#include "gpu/conversion_shaders.h"

#include "delivery/format_tags.h"
#include "gpu/colour_matrix.h"

namespace {

const char kResources[] =
    "Texture2D frameTexture : register(t0);\n"
    "SamplerState frameSampler : register(s0);\n"
    "struct VertexIn { float3 position : POSITION; float2 texcoord : TEXCOORD0; };\n";

// The RGB conversions address texels by the pixel's own position and need no coordinate.
const char kPositionStage[] =
    "struct PixelIn { float4 position : SV_POSITION; };\n"
    "PixelIn vs_main(VertexIn input) {\n"
    "  PixelIn output;\n"
    "  output.position = float4(input.position, 1.0);\n"
    "  return output;\n"
    "}\n";

const char kCoordinateStage[] =
    "struct PixelIn { float4 position : SV_POSITION; float2 texcoord : TEXCOORD0; };\n"
    "PixelIn vs_main(VertexIn input) {\n"
    "  PixelIn output;\n"
    "  output.position = float4(input.position, 1.0);\n"
    "  output.texcoord = input.texcoord;\n"
    "  return output;\n"
    "}\n";

const char kLimitedRange[] = "  rgb = (219.0 * rgb + 16.0) / 255.0;\n";

const char kExchangeHead[] =
    "float4 ps_main(PixelIn input) : SV_TARGET0 {\n"
    "  float4 texel = frameTexture.Load(int3(input.position.xy, 0));\n"
    "  float3 rgb = texel.rgb;\n";
const char kExchangeTail[] =
    "  return float4(rgb.b, rgb.g, rgb.r, texel.a);\n"
    "}\n";

// Wine's compiler has neither the ternary operator nor division of a vector's integer member.
const char kSpreadHead[] =
    "float4 ps_main(PixelIn input) : SV_TARGET0 {\n"
    "  int column = int(input.position.x);\n"
    "  int row = int(input.position.y);\n"
    "  float3 rgb = frameTexture.Load(int3(column / 3, row, 0)).rgb;\n";
const char kSpreadTail[] =
    "  int p = column % 3;\n"
    "  float3 pick = float3(p == 0, p == 1, p == 2);\n"
    "  return float4(dot(rgb.bgr, pick), 0.0, 0.0, 1.0);\n"
    "}\n";

// Chroma rows sample between four texels, so the linear filter does the 4:2:0 averaging.
const char kPlanarHead[] =
    "float4 ps_main(PixelIn input) : SV_TARGET0 {\n"
    "  float tx = input.texcoord.x;\n"
    "  float ty = input.texcoord.y;\n"
    "  float uvORy = floor(1.5 * ty);\n"
    "  float vORu = floor(2.0 * tx);\n"
    "  float yORuv = 1.0 - uvORy;\n"
    "  float uORv = 1.0 - vORu;\n"
    "  float2 source = float2((1.0 + uvORy) * tx - uvORy * vORu,\n"
    "                         3.0 * ty / (1.0 + yORuv) - 2.0 * uvORy);\n"
    "  float3 rgb = frameTexture.Sample(frameSampler, source).rgb;\n";
const char kPlanarTail[] =
    "  return float4(Y * yORuv + U * uvORy * uORv + V * uvORy * vORu, 0.0, 0.0, 1.0);\n"
    "}\n";

std::string rgbSource(const char* head, const char* tail, bool isFullRange) {
  std::string text = std::string(kResources) + kPositionStage + head;
  if (!isFullRange) text += kLimitedRange;
  return text + tail;
}

// Integers only: a host's locale must not reach the shader's text.
std::string matrixRow(const char* name, const int32_t (&row)[4]) {
  return std::string("  float ") + name + " = dot(float3(" + std::to_string(row[0]) + ".0, " +
         std::to_string(row[1]) + ".0, " + std::to_string(row[2]) + ".0), rgb) / 1000.0 + " +
         std::to_string(row[3]) + ".0 / 255.0;\n";
}

std::string planarSource(bool is709, bool isFullRange) {
  const ColourMatrix& matrix = kColourMatrices[is709][isFullRange];
  return std::string(kResources) + kCoordinateStage + kPlanarHead + matrixRow("Y", matrix.y) +
         matrixRow("U", matrix.u) + matrixRow("V", matrix.v) + kPlanarTail;
}

}  // namespace

std::string conversionShaderSource(uint32_t toFormat, bool is709, bool isFullRange) {
  if (toFormat == kTagRGBA) return rgbSource(kExchangeHead, kExchangeTail, isFullRange);
  if (toFormat == kTagRGB3) return rgbSource(kSpreadHead, kSpreadTail, isFullRange);
  if (toFormat == kTagI420 || toFormat == kTagNV12) return planarSource(is709, isFullRange);
  return std::string();
}
