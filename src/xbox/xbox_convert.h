// Conversion of Xbox 360 texture data to 32-bit B,G,R,A pixels, and the endian swaps of
// the console's memory image.
//
// Channel rules (the same as the PC texture utilities' format conversion):
// - unsigned, biased and gamma channels narrower than 8 bits are widened by repeating
//   their bits (5-bit 0x13 -> 0x9C), wider ones keep their top 8 bits;
// - signed channels map -1..1 onto 0..255 as (v + 1) / 2 * 255 rounded half up, with the
//   most negative code also -1;
// - float channels (half, single, 20e4) are clamped to 0..1 (NaN gives 255) and scaled
//   by 255, rounded half up; the signs and number format of a float format change nothing;
// - the "integer" number format is read as a fraction like the default one;
// - data components a format lacks read as 255 before the swizzle picks the channels;
// - DXT endpoints widen by repeating bits, and interpolated colours and alphas are
//   truncated: (2a + b) / 3, (a + b) / 2, ((7 - i) a0 + i a1) / 7; block formats read as
//   unsigned whatever their sign fields say;
// - YUY2 and UYVY texels (4:2:2 formats with the identity swizzle) become RGB by the
//   BT.601 studio-range integer formula; their RGB twins keep their raw bytes;
// - CTX1 endpoints keep X in the high and Y in the low byte of each 16-bit endpoint;
// - a DXT3A_AS_1_1_1_1 code gives X, Y, Z, W from its bits 0, 1, 2, 3.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "xbox/xbox_format.h"
#include "xbox/xbox_tiling.h"
#include "base/byte_reader.h"

namespace vellmark::xbox {

// Swaps `data` in place in units of the given swap: bytes in 16-bit units, bytes in
// 32-bit units, or 16-bit halves of 32-bit units. A trailing part shorter than a unit is
// left alone.
void endianSwap(std::span<std::uint8_t> data, Endian endian);

// Converts width x height texels of `format` (its tiled bit ignored) stored in linear rows
// of blocks `rowPitch` bytes apart at the start of `src`, in the console's byte order, to
// width x height x 4 bytes B,G,R,A, rows from the top. Raises Error(Unsupported) for
// formats that hold no texture data and Error(Truncated) when `src` is too short.
std::vector<std::uint8_t> convertToBgra(Bytes src, std::size_t rowPitch, std::uint32_t width, std::uint32_t height,
                                        std::uint32_t format);

// The same for texels stored in the tiled rectangle `rect` of the surface `src`, untiled
// row by row on the way. Raises the errors of untile() and convertToBgra().
std::vector<std::uint8_t> convertTiledToBgra(Bytes src, const TiledRect& rect, std::uint32_t width, std::uint32_t height,
                                             std::uint32_t format);

}  // namespace vellmark::xbox
