// Xbox 360 texture format codes: the packed 32-bit code that a texture header's fetch
// constant carries (GPU data format, endian swap, tiled bit, signs, number format and
// swizzle), and the storage facts of each GPU data format (block size, bytes per block).
#pragma once

#include <array>
#include <cstdint>

namespace vellmark::xbox {

inline constexpr std::uint32_t kFormatTiledBit = 0x100;
// The 32-bit B,G,R,A target of every conversion (A8R8G8B8).
inline constexpr std::uint32_t kFormatA8R8G8B8 = 0x18280186;

// The 6-bit GPU data formats (low bits of the code) that the converter handles by name.
enum GpuFormat : std::uint8_t {
  kGpu1Reverse = 0, kGpu1 = 1, kGpu8 = 2, kGpu1555 = 3, kGpu565 = 4, kGpu655 = 5, kGpu8888 = 6,
  kGpu2101010 = 7, kGpu8A = 8, kGpu8B = 9, kGpu88 = 10, kGpuCrY1CbY0Rep = 11, kGpuY1CrY0CbRep = 12,
  kGpu1616Edram = 13, kGpu8888A = 14, kGpu4444 = 15, kGpu101111 = 16, kGpu111110 = 17, kGpuDxt1 = 18,
  kGpuDxt23 = 19, kGpuDxt45 = 20, kGpu16161616Edram = 21, kGpu248 = 22, kGpu248Float = 23, kGpu16 = 24,
  kGpu1616 = 25, kGpu16161616 = 26, kGpu16Expand = 27, kGpu1616Expand = 28, kGpu16161616Expand = 29,
  kGpu16Float = 30, kGpu1616Float = 31, kGpu16161616Float = 32, kGpu32 = 33, kGpu3232 = 34,
  kGpu32323232 = 35, kGpu32Float = 36, kGpu3232Float = 37, kGpu32323232Float = 38, kGpu32As8 = 39,
  kGpu32As88 = 40, kGpu16Mpeg = 41, kGpu1616Mpeg = 42, kGpu8Interlaced = 43, kGpu32As8Interlaced = 44,
  kGpu32As88Interlaced = 45, kGpu16Interlaced = 46, kGpu16MpegInterlaced = 47, kGpu1616MpegInterlaced = 48,
  kGpuDxn = 49, kGpu8888As16161616 = 50, kGpuDxt1As16161616 = 51, kGpuDxt23As16161616 = 52,
  kGpuDxt45As16161616 = 53, kGpu2101010As16161616 = 54, kGpu101111As16161616 = 55,
  kGpu111110As16161616 = 56, kGpu323232Float = 57, kGpuDxt3A = 58, kGpuDxt5A = 59, kGpuCtx1 = 60,
  kGpuDxt3AAs1111 = 61, kGpu8888GammaEdram = 62, kGpu2101010FloatEdram = 63,
};

enum class Endian : std::uint8_t { None = 0, Swap8In16 = 1, Swap8In32 = 2, Swap16In32 = 3 };
enum class Sign : std::uint8_t { Unsigned = 0, Signed = 1, Biased = 2, Gamma = 3 };
// Swizzle selectors: 0-3 pick data component X, Y, Z or W; 4 and 5 are the constants 0 and 1.
inline constexpr std::uint8_t kSwizzleZero = 4;
inline constexpr std::uint8_t kSwizzleOne = 5;

struct FormatCode {
  std::uint8_t gpu = 0;
  Endian endian = Endian::None;
  bool tiled = false;
  std::array<Sign, 4> sign{};             // of data components X, Y, Z, W
  bool integer = false;                   // number format: raw integers instead of fractions
  std::array<std::uint8_t, 4> swizzle{};  // source of red, green, blue, alpha
};

constexpr FormatCode decodeFormat(std::uint32_t code) {
  FormatCode f;
  f.gpu = static_cast<std::uint8_t>(code & 0x3F);
  f.endian = static_cast<Endian>((code >> 6) & 3);
  f.tiled = (code & kFormatTiledBit) != 0;
  for (int i = 0; i < 4; ++i) f.sign[i] = static_cast<Sign>((code >> (9 + 2 * i)) & 3);
  f.integer = ((code >> 17) & 1) != 0;
  for (int i = 0; i < 4; ++i) f.swizzle[i] = static_cast<std::uint8_t>((code >> (18 + 3 * i)) & 7);
  return f;
}

// The element that tiling moves and that rows are made of: texels for plain formats,
// 4x4 blocks for the block-compressed ones, 2x1 or 4x1 for the packed pairs.
struct BlockInfo {
  std::uint8_t width = 1;   // texels
  std::uint8_t height = 1;  // texels
  std::uint8_t bytes = 0;   // 0: not a format that a texture can be read in
  std::uint8_t log2Bytes = 0;
};

// Storage facts of GPU data format `gpu` (0..63). The 1-bit, EDRAM, MPEG and interlaced
// formats have bytes == 0: render targets and video surfaces, never texture data the
// converter can read.
BlockInfo blockInfo(unsigned gpu);

// Name of a GPU data format for messages, as the platform documents them ("k_DXT1",
// "k_16_16_FLOAT", ...): the bare names read like numbers ("8").
const char* gpuFormatName(unsigned gpu);

constexpr std::uint32_t divideRoundingUp(std::uint32_t value, std::uint32_t by) { return (value + by - 1) / by; }
constexpr std::uint32_t alignUp(std::uint32_t value, std::uint32_t to) { return divideRoundingUp(value, to) * to; }

}  // namespace vellmark::xbox
