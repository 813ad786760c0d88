#include "xbox/xbox_convert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "base/error.h"

namespace vellmark::xbox {

namespace {

using Comps = std::array<std::uint8_t, 4>;  // data components X, Y, Z, W as 8-bit values
constexpr Comps kMissing = {255, 255, 255, 255};

// ---- channel rules -------------------------------------------------------------------

std::uint8_t widenUnsigned(std::uint32_t v, unsigned bits) {
  if (bits == 8) return static_cast<std::uint8_t>(v);
  if (bits > 8) return static_cast<std::uint8_t>(v >> (bits - 8));
  std::uint32_t r = v << (8 - bits);
  for (unsigned filled = bits; filled < 8; filled *= 2) r |= r >> filled;
  return static_cast<std::uint8_t>(r);
}

std::uint8_t fromUnit(double f) {
  if (std::isnan(f)) return 255;
  f = std::clamp(f, 0.0, 1.0);
  return static_cast<std::uint8_t>(std::floor(f * 255.0 + 0.5));
}

std::uint8_t fromSigned(std::uint32_t v, unsigned bits) {
  if (bits < 2) return widenUnsigned(v, bits);
  const std::int64_t half = std::int64_t{1} << (bits - 1);
  std::int64_t s = static_cast<std::int64_t>(v);
  if (s >= half) s -= 2 * half;
  const double f = std::max(-1.0, static_cast<double>(s) / static_cast<double>(half - 1));
  return fromUnit((f + 1.0) * 0.5);
}

std::uint8_t fixedChannel(std::uint32_t v, unsigned bits, Sign sign) {
  return sign == Sign::Signed ? fromSigned(v, bits) : widenUnsigned(v, bits);
}

float halfToFloat(std::uint32_t h) {
  const std::uint32_t sign = (h >> 15) & 1, exponent = (h >> 10) & 31, mantissa = h & 1023;
  float value;
  if (exponent == 0) value = std::ldexp(static_cast<float>(mantissa), -24);
  else if (exponent == 31) value = mantissa ? NAN : INFINITY;
  else value = std::ldexp(static_cast<float>(mantissa | 1024), static_cast<int>(exponent) - 25);
  return sign ? -value : value;
}

float bitsToFloat(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

// The depth format's 24-bit float: 4 exponent bits (bias 15), 20 mantissa bits, no sign.
float float20e4ToFloat(std::uint32_t v) {
  const std::uint32_t exponent = (v >> 20) & 15, mantissa = v & 0xFFFFF;
  if (exponent == 0) return std::ldexp(static_cast<float>(mantissa), -14 - 20);
  return std::ldexp(static_cast<float>(mantissa | 0x100000), static_cast<int>(exponent) - 15 - 20);
}

// ---- plain (one texel per element) formats --------------------------------------------

enum class Kind : std::uint8_t { Fixed, Half, Single, Float20e4 };

struct Field {
  std::uint8_t shift, bits;
};

struct PlainLayout {
  Kind kind;
  std::uint8_t texelBytes;
  std::uint8_t count;
  std::array<Field, 4> fields;
};

bool plainLayout(unsigned gpu, PlainLayout& out) {
  switch (gpu) {
    case kGpu8: case kGpu8A: case kGpu8B: case kGpu32As8:
      out = {Kind::Fixed, 1, 1, {{{0, 8}}}}; return true;
    case kGpu1555: out = {Kind::Fixed, 2, 4, {{{0, 5}, {5, 5}, {10, 5}, {15, 1}}}}; return true;
    case kGpu565: out = {Kind::Fixed, 2, 3, {{{0, 5}, {5, 6}, {11, 5}}}}; return true;
    case kGpu655: out = {Kind::Fixed, 2, 3, {{{0, 5}, {5, 5}, {10, 6}}}}; return true;
    case kGpu8888: case kGpu8888A: case kGpu8888As16161616:
      out = {Kind::Fixed, 4, 4, {{{0, 8}, {8, 8}, {16, 8}, {24, 8}}}}; return true;
    case kGpu2101010: case kGpu2101010As16161616:
      out = {Kind::Fixed, 4, 4, {{{0, 10}, {10, 10}, {20, 10}, {30, 2}}}}; return true;
    case kGpu88: case kGpu32As88: out = {Kind::Fixed, 2, 2, {{{0, 8}, {8, 8}}}}; return true;
    case kGpu4444: out = {Kind::Fixed, 2, 4, {{{0, 4}, {4, 4}, {8, 4}, {12, 4}}}}; return true;
    case kGpu101111: case kGpu101111As16161616:
      out = {Kind::Fixed, 4, 3, {{{0, 11}, {11, 11}, {22, 10}}}}; return true;
    case kGpu111110: case kGpu111110As16161616:
      out = {Kind::Fixed, 4, 3, {{{0, 10}, {10, 11}, {21, 11}}}}; return true;
    case kGpu248: out = {Kind::Fixed, 4, 1, {{{8, 24}}}}; return true;
    case kGpu248Float: out = {Kind::Float20e4, 4, 1, {{{8, 24}}}}; return true;
    case kGpu16: out = {Kind::Fixed, 2, 1, {{{0, 16}}}}; return true;
    case kGpu1616: out = {Kind::Fixed, 4, 2, {{{0, 16}, {16, 16}}}}; return true;
    case kGpu16161616: out = {Kind::Fixed, 8, 4, {{{0, 16}, {16, 16}, {32, 16}, {48, 16}}}}; return true;
    case kGpu16Expand: case kGpu16Float: out = {Kind::Half, 2, 1, {{{0, 16}}}}; return true;
    case kGpu1616Expand: case kGpu1616Float: out = {Kind::Half, 4, 2, {{{0, 16}, {16, 16}}}}; return true;
    case kGpu16161616Expand: case kGpu16161616Float:
      out = {Kind::Half, 8, 4, {{{0, 16}, {16, 16}, {32, 16}, {48, 16}}}}; return true;
    case kGpu32: out = {Kind::Fixed, 4, 1, {{{0, 32}}}}; return true;
    case kGpu3232: out = {Kind::Fixed, 8, 2, {{{0, 32}, {32, 32}}}}; return true;
    case kGpu32323232: out = {Kind::Fixed, 16, 4, {{{0, 32}, {32, 32}, {64, 32}, {96, 32}}}}; return true;
    case kGpu32Float: out = {Kind::Single, 4, 1, {{{0, 32}}}}; return true;
    case kGpu3232Float: out = {Kind::Single, 8, 2, {{{0, 32}, {32, 32}}}}; return true;
    case kGpu32323232Float: out = {Kind::Single, 16, 4, {{{0, 32}, {32, 32}, {64, 32}, {96, 32}}}}; return true;
    case kGpu323232Float: out = {Kind::Single, 12, 3, {{{0, 32}, {32, 32}, {64, 32}}}}; return true;
    default: return false;
  }
}

std::uint32_t readField(const std::uint8_t* texel, Field f) {
  // Fields of 32 bits sit on whole words; narrower ones lie inside the first 8 bytes.
  if (f.bits == 32) return loadU32(texel + f.shift / 8);
  std::uint64_t v = 0;
  const unsigned last = (f.shift + f.bits + 7u) / 8u;
  for (unsigned i = 0; i < last; ++i) v |= std::uint64_t{texel[i]} << (8 * i);
  return static_cast<std::uint32_t>((v >> f.shift) & ((std::uint64_t{1} << f.bits) - 1));
}

Comps decodePlain(const std::uint8_t* texel, const PlainLayout& layout, const FormatCode& code) {
  Comps c = kMissing;
  for (unsigned i = 0; i < layout.count; ++i) {
    const std::uint32_t v = readField(texel, layout.fields[i]);
    switch (layout.kind) {
      case Kind::Fixed: c[i] = fixedChannel(v, layout.fields[i].bits, code.sign[i]); break;
      case Kind::Half: c[i] = fromUnit(halfToFloat(v)); break;
      case Kind::Single: c[i] = fromUnit(bitsToFloat(v)); break;
      case Kind::Float20e4: c[i] = fromUnit(float20e4ToFloat(v)); break;
    }
  }
  return c;
}

// ---- block formats ---------------------------------------------------------------------

// 16 texels of one 4x4 block, row-major.
using BlockTexels = std::array<Comps, 16>;

Comps expand565(std::uint32_t c) {
  return {widenUnsigned((c >> 11) & 31, 5), widenUnsigned((c >> 5) & 63, 6), widenUnsigned(c & 31, 5), 255};
}

// DXT colour block: red, green and blue in X, Y, Z and the alpha of the three-colour mode in W.
void decodeColourBlock(const std::uint8_t* b, bool alwaysFourColours, BlockTexels& out) {
  const std::uint32_t c0 = loadU16(b), c1 = loadU16(b + 2), indices = loadU32(b + 4);
  std::array<Comps, 4> palette;
  palette[0] = expand565(c0);
  palette[1] = expand565(c1);
  if (alwaysFourColours || c0 > c1) {
    for (int i = 0; i < 3; ++i) {
      palette[2][i] = static_cast<std::uint8_t>((2 * palette[0][i] + palette[1][i]) / 3);
      palette[3][i] = static_cast<std::uint8_t>((palette[0][i] + 2 * palette[1][i]) / 3);
    }
    palette[2][3] = palette[3][3] = 255;
  } else {
    for (int i = 0; i < 3; ++i) palette[2][i] = static_cast<std::uint8_t>((palette[0][i] + palette[1][i]) / 2);
    palette[2][3] = 255;
    palette[3] = {0, 0, 0, 0};
  }
  for (int t = 0; t < 16; ++t) {
    const Comps& p = palette[(indices >> (2 * t)) & 3];
    for (int i = 0; i < 3; ++i) out[t][i] = p[i];
    out[t][3] = p[3];
  }
}

// A DXT5-style alpha block (two endpoints, 3-bit codes) into component `slot`.
void decodeAlphaBlock(const std::uint8_t* b, int slot, BlockTexels& out) {
  const std::uint32_t a0 = b[0], a1 = b[1];
  std::array<std::uint8_t, 8> v;
  v[0] = static_cast<std::uint8_t>(a0);
  v[1] = static_cast<std::uint8_t>(a1);
  if (a0 > a1) {
    for (std::uint32_t i = 1; i < 7; ++i) v[i + 1] = static_cast<std::uint8_t>(((7 - i) * a0 + i * a1) / 7);
  } else {
    for (std::uint32_t i = 1; i < 5; ++i) v[i + 1] = static_cast<std::uint8_t>(((5 - i) * a0 + i * a1) / 5);
    v[6] = 0;
    v[7] = 255;
  }
  std::uint64_t codes = 0;
  for (int i = 0; i < 6; ++i) codes |= std::uint64_t{b[2 + i]} << (8 * i);
  for (int t = 0; t < 16; ++t) out[t][slot] = v[(codes >> (3 * t)) & 7];
}

// A DXT3-style block of sixteen 4-bit values into component `slot`.
void decodeNibbleBlock(const std::uint8_t* b, int slot, BlockTexels& out) {
  for (int t = 0; t < 16; ++t) out[t][slot] = static_cast<std::uint8_t>(((b[t / 2] >> (4 * (t & 1))) & 15) * 17);
}

void decodeCtx1(const std::uint8_t* b, BlockTexels& out) {
  const std::uint32_t e0 = loadU16(b), e1 = loadU16(b + 2), indices = loadU32(b + 4);
  const std::uint32_t x0 = e0 >> 8, y0 = e0 & 0xFF, x1 = e1 >> 8, y1 = e1 & 0xFF;
  const std::array<std::uint32_t, 4> xs = {x0, x1, (2 * x0 + x1) / 3, (x0 + 2 * x1) / 3};
  const std::array<std::uint32_t, 4> ys = {y0, y1, (2 * y0 + y1) / 3, (y0 + 2 * y1) / 3};
  for (int t = 0; t < 16; ++t) {
    const unsigned i = (indices >> (2 * t)) & 3;
    out[t] = {static_cast<std::uint8_t>(xs[i]), static_cast<std::uint8_t>(ys[i]), 255, 255};
  }
}

void decodeBlock(unsigned gpu, const std::uint8_t* b, BlockTexels& out) {
  out.fill(kMissing);
  switch (gpu) {
    case kGpuDxt1: case kGpuDxt1As16161616: decodeColourBlock(b, false, out); break;
    case kGpuDxt23: case kGpuDxt23As16161616:
      decodeColourBlock(b + 8, true, out);
      decodeNibbleBlock(b, 3, out);
      break;
    case kGpuDxt45: case kGpuDxt45As16161616:
      decodeColourBlock(b + 8, true, out);
      decodeAlphaBlock(b, 3, out);
      break;
    case kGpuDxn:
      decodeAlphaBlock(b, 0, out);
      decodeAlphaBlock(b + 8, 1, out);
      break;
    case kGpuDxt5A: decodeAlphaBlock(b, 0, out); break;
    case kGpuDxt3A: decodeNibbleBlock(b, 0, out); break;
    case kGpuDxt3AAs1111:
      for (int t = 0; t < 16; ++t) {
        const unsigned code = (b[t / 2] >> (4 * (t & 1))) & 15;
        for (int i = 0; i < 4; ++i) out[t][i] = (code >> i) & 1 ? 255 : 0;
      }
      break;
    case kGpuCtx1: decodeCtx1(b, out); break;
    default: break;
  }
}

bool isBlockFormat(unsigned gpu) {
  switch (gpu) {
    case kGpuDxt1: case kGpuDxt23: case kGpuDxt45: case kGpuDxn: case kGpuDxt1As16161616:
    case kGpuDxt23As16161616: case kGpuDxt45As16161616: case kGpuDxt3A: case kGpuDxt5A: case kGpuCtx1:
    case kGpuDxt3AAs1111:
      return true;
    default:
      return false;
  }
}

// ---- 4:2:2 pairs -------------------------------------------------------------------------

std::uint8_t clip(int v) { return static_cast<std::uint8_t>(std::clamp(v, 0, 255)); }

// Two texels of a 4:2:2 element as (X = Cr, Y = luma, Z = Cb); with the identity swizzle
// (the YUY2 and UYVY codes) they are turned into R, G, B.
void decodePair(unsigned gpu, const std::uint8_t* b, bool toRgb, Comps& first, Comps& second) {
  const bool crFirst = gpu == kGpuCrY1CbY0Rep;  // bytes Y0 Cb Y1 Cr, else Cb Y0 Cr Y1
  const std::uint8_t y0 = crFirst ? b[0] : b[1], cb = crFirst ? b[1] : b[0];
  const std::uint8_t y1 = crFirst ? b[2] : b[3], cr = crFirst ? b[3] : b[2];
  auto make = [&](std::uint8_t y) -> Comps {
    if (!toRgb) return {cr, y, cb, 255};
    const int c = y - 16, d = cb - 128, e = cr - 128;
    return {clip((298 * c + 409 * e + 128) >> 8), clip((298 * c - 100 * d - 208 * e + 128) >> 8),
            clip((298 * c + 516 * d + 128) >> 8), 255};
  };
  first = make(y0);
  second = make(y1);
}

// ---- output ----------------------------------------------------------------------------

struct Swizzle {
  std::array<std::uint8_t, 4> source;  // index into {X, Y, Z, W, 0, 255} for R, G, B, A
};

Swizzle makeSwizzle(const FormatCode& code) {
  Swizzle s;
  for (int c = 0; c < 4; ++c) {
    const std::uint8_t sel = code.swizzle[static_cast<std::size_t>(c)];
    // 6 is unused and reads as 0; 7 keeps the channel's own component.
    s.source[static_cast<std::size_t>(c)] = sel <= 5 ? sel : sel == 7 ? static_cast<std::uint8_t>(c) : 4;
  }
  return s;
}

inline void store(std::uint8_t* out, const Comps& c, const Swizzle& s) {
  const std::uint8_t all[6] = {c[0], c[1], c[2], c[3], 0, 255};
  out[0] = all[s.source[2]];
  out[1] = all[s.source[1]];
  out[2] = all[s.source[0]];
  out[3] = all[s.source[3]];
}

}  // namespace

void endianSwap(std::span<std::uint8_t> data, Endian endian) {
  if (endian == Endian::None) return;
  std::uint8_t* p = data.data();
  const std::size_t n = data.size();
  // Eight bytes at a time (every unit divides 8), then what is left unit by unit.
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t v;
    std::memcpy(&v, p + i, 8);
    // Reversing four bytes is swapping the bytes of each half, then the halves.
    if (endian != Endian::Swap16In32) v = ((v & 0x00FF00FF00FF00FFull) << 8) | ((v >> 8) & 0x00FF00FF00FF00FFull);
    if (endian != Endian::Swap8In16) v = ((v & 0x0000FFFF0000FFFFull) << 16) | ((v >> 16) & 0x0000FFFF0000FFFFull);
    std::memcpy(p + i, &v, 8);
  }
  const std::size_t unit = endian == Endian::Swap8In16 ? 2 : 4;
  for (; i + unit <= n; i += unit) {
    if (endian == Endian::Swap8In16) {
      std::swap(p[i], p[i + 1]);
    } else if (endian == Endian::Swap8In32) {
      std::swap(p[i], p[i + 3]);
      std::swap(p[i + 1], p[i + 2]);
    } else {
      std::swap(p[i], p[i + 2]);
      std::swap(p[i + 1], p[i + 3]);
    }
  }
}

namespace {

struct Surface {
  FormatCode code;
  BlockInfo block;
  std::uint32_t widthBlocks, heightBlocks;
  std::size_t rowBytes;
};

Surface describe(std::uint32_t format, std::uint32_t width, std::uint32_t height) {
  Surface s;
  s.code = decodeFormat(format);
  s.block = blockInfo(s.code.gpu);
  if (s.block.bytes == 0)
    fail(ErrorKind::Unsupported, std::string("texture format ") + gpuFormatName(s.code.gpu) + " holds no texture data");
  s.widthBlocks = divideRoundingUp(width, s.block.width);
  s.heightBlocks = divideRoundingUp(height, s.block.height);
  s.rowBytes = std::size_t{s.widthBlocks} * s.block.bytes;
  return s;
}

// Converts row after row of blocks; `fill(blockRow, scratch)` returns the row's bytes in a
// buffer the converter may swap in place (`scratch`, which holds one row, or its own).
template <class Fill>
std::vector<std::uint8_t> convertRows(const Surface& surface, std::uint32_t width, std::uint32_t height, Fill&& fill) {
  const FormatCode& code = surface.code;
  const BlockInfo& block = surface.block;
  const std::uint32_t widthBlocks = surface.widthBlocks, heightBlocks = surface.heightBlocks;
  std::vector<std::uint8_t> out(std::size_t{width} * height * 4);
  if (width == 0 || height == 0) return out;
  const Swizzle swizzle = makeSwizzle(code);
  std::vector<std::uint8_t> row(surface.rowBytes);
  PlainLayout plain{};
  const bool isPlain = plainLayout(code.gpu, plain);
  const std::size_t outPitch = std::size_t{width} * 4;

  for (std::uint32_t by = 0; by < heightBlocks; ++by) {
    std::uint8_t* const rowData = fill(by, row.data());
    endianSwap(std::span<std::uint8_t>(rowData, surface.rowBytes), code.endian);
    if (isPlain) {
      std::uint8_t* dst = out.data() + std::size_t{by} * outPitch;
      const std::uint8_t* texel = rowData;
      if (plain.kind == Kind::Fixed && plain.texelBytes == 4 && plain.count == 4 && plain.fields[1].bits == 8 &&
          code.sign == std::array<Sign, 4>{}) {
        // 8_8_8_8 without signs: the components are the bytes themselves.
        for (std::uint32_t x = 0; x < width; ++x, texel += 4, dst += 4)
          store(dst, {texel[0], texel[1], texel[2], texel[3]}, swizzle);
      } else {
        for (std::uint32_t x = 0; x < width; ++x, texel += plain.texelBytes, dst += 4)
          store(dst, decodePlain(texel, plain, code), swizzle);
      }
    } else if (isBlockFormat(code.gpu)) {
      BlockTexels texels;
      for (std::uint32_t bx = 0; bx < widthBlocks; ++bx) {
        decodeBlock(code.gpu, rowData + std::size_t{bx} * block.bytes, texels);
        for (std::uint32_t ty = 0; ty < 4 && by * 4 + ty < height; ++ty)
          for (std::uint32_t tx = 0; tx < 4 && bx * 4 + tx < width; ++tx)
            store(out.data() + std::size_t{by * 4 + ty} * outPitch + std::size_t{bx * 4 + tx} * 4, texels[ty * 4 + tx],
                  swizzle);
      }
    } else {  // 4:2:2 pairs
      const bool toRgb = code.swizzle[0] == 0 && code.swizzle[1] == 1 && code.swizzle[2] == 2;
      std::uint8_t* dst = out.data() + std::size_t{by} * outPitch;
      for (std::uint32_t bx = 0; bx < widthBlocks; ++bx) {
        Comps first, second;
        decodePair(code.gpu, rowData + std::size_t{bx} * 4, toRgb, first, second);
        store(dst + std::size_t{bx} * 8, first, swizzle);
        if (bx * 2 + 1 < width) store(dst + std::size_t{bx} * 8 + 4, second, swizzle);
      }
    }
  }
  return out;
}

}  // namespace

std::vector<std::uint8_t> convertToBgra(Bytes src, std::size_t rowPitch, std::uint32_t width, std::uint32_t height,
                                        std::uint32_t format) {
  const Surface surface = describe(format, width, height);
  if (width == 0 || height == 0) return {};
  if (rowPitch < surface.rowBytes ||
      !rangeFits(0, std::uint64_t{surface.heightBlocks - 1} * rowPitch + surface.rowBytes, src.size()))
    fail(ErrorKind::Truncated, std::string("texture data of format ") + gpuFormatName(surface.code.gpu) +
                                   " is too short for " + std::to_string(width) + " x " + std::to_string(height) +
                                   " texels");
  return convertRows(surface, width, height, [&](std::uint32_t by, std::uint8_t* row) {
    std::memcpy(row, src.data() + std::size_t{by} * rowPitch, surface.rowBytes);
    return row;
  });
}

std::vector<std::uint8_t> convertTiledToBgra(Bytes src, const TiledRect& rect, std::uint32_t width, std::uint32_t height,
                                             std::uint32_t format) {
  const Surface surface = describe(format, width, height);
  if (width == 0 || height == 0) return {};
  if (rect.widthBlocks < surface.widthBlocks || rect.heightBlocks < surface.heightBlocks ||
      (std::size_t{1} << rect.log2Bytes) != surface.block.bytes)
    fail(ErrorKind::Argument, "tiled rectangle does not match the texture");
  const TiledRowReader reader(src, rect);
  // Rows are untiled a tile row at a time into a band, reading memory in order.
  std::vector<std::uint8_t> band(surface.rowBytes * 32);
  std::uint32_t bandStart = 0, bandRows = 0;
  return convertRows(surface, width, height, [&](std::uint32_t by, std::uint8_t*) {
    if (by >= bandStart + bandRows) {
      bandStart = by;
      bandRows = std::min(32 - ((rect.y + by) & 31), surface.heightBlocks - by);
      reader.copyRows(bandStart, bandRows, band.data(), surface.rowBytes);
    }
    return band.data() + (by - bandStart) * surface.rowBytes;
  });
}

}  // namespace vellmark::xbox
