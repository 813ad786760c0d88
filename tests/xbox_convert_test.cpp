// Conversion of every Xbox 360 texture format to 32-bit B,G,R,A: known images encoded by
// the test bundle writer, stored tiled and linear, read back through the bundle reader and
// the level converter; and the channel rules pinned on hand-made texels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <tuple>

#include "xbox/xbox_convert.h"
#include "base/error.h"
#include "xbox/xpr_bundle.h"
#include "support/test_support.h"
#include "support/xpr_writer.h"
#include "tools/xpr_to_tga.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Pixel = std::array<std::uint8_t, 4>;  // R, G, B, A of the source image

// A real photograph with real transparency, cut at an odd place.
struct SourceImage {
  std::vector<std::uint8_t> tga = loadData("textures/leaf_branch_256x512_rgba32.tga.gz");
  Pixel at(std::uint32_t x, std::uint32_t y) const {
    const std::size_t i = 18 + (std::size_t{(y * 7 + 131) % 512} * 256 + (x * 3 + 17) % 256) * 4;
    return {tga[i + 2], tga[i + 1], tga[i], tga[i + 3]};
  }
};

const SourceImage& source() {
  static const SourceImage image;
  return image;
}

// What a format's texels decode to, before the swizzle: data components X, Y, Z, W.
using Comps = std::array<int, 4>;
constexpr int kAbsent = -1;

struct Encoded {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint8_t> texels;  // little-endian rows of blocks
  std::vector<Comps> expected;       // per texel, components as 8-bit values or kAbsent
};

// ---- expected channel values, written out per width --------------------------------------

int widenedUnsigned(std::uint32_t raw, unsigned bits) {
  switch (bits) {
    case 1: return static_cast<int>(raw * 255);
    case 2: return static_cast<int>(raw * 85);
    case 4: return static_cast<int>(raw * 17);
    case 5: return static_cast<int>((raw << 3) | (raw >> 2));
    case 6: return static_cast<int>((raw << 2) | (raw >> 4));
    case 8: return static_cast<int>(raw);
    default: return static_cast<int>(raw >> (bits - 8));
  }
}

int signedToUnit(std::int64_t value, unsigned bits) {
  const double max = static_cast<double>((std::int64_t{1} << (bits - 1)) - 1);
  const double f = std::max(-1.0, static_cast<double>(value) / max);
  return static_cast<int>(std::floor((f + 1.0) / 2.0 * 255.0 + 0.5));
}

// ---- plain formats ---------------------------------------------------------------------

enum class Num { Fixed, Half, Single, Depth20e4 };
struct PlainFormat {
  Num num;
  unsigned texelBytes;
  std::vector<std::pair<unsigned, unsigned>> fields;  // shift, bits
};

void putBits(std::vector<std::uint8_t>& texel, unsigned shift, unsigned bits, std::uint64_t value) {
  for (unsigned b = 0; b < bits; ++b)
    if ((value >> b) & 1) texel[(shift + b) / 8] |= static_cast<std::uint8_t>(1u << ((shift + b) % 8));
}

// k / 256 for k in 0..255 as a half, a single and the depth format's 20e4 float.
std::uint32_t fractionAsFloat(unsigned k, unsigned exponentBias, unsigned mantissaBits) {
  if (k == 0) return 0;
  unsigned e = 7;
  while (!(k >> e)) --e;
  const std::uint32_t exponent = e - 8 + exponentBias;
  const std::uint32_t mantissa = (k - (1u << e)) << (mantissaBits - e);
  return (exponent << mantissaBits) | mantissa;
}

Encoded encodePlain(std::uint32_t format, const PlainFormat& pf, std::uint32_t w, std::uint32_t h, unsigned blockWidth = 1) {
  Encoded e{w, h, {}, {}};
  const std::uint32_t padded = (w + blockWidth - 1) / blockWidth * blockWidth;
  for (std::uint32_t y = 0; y < h; ++y) {
    for (std::uint32_t x = 0; x < padded; ++x) {
      const Pixel p = source().at(x, y);
      std::vector<std::uint8_t> texel(pf.texelBytes, 0);
      Comps c = {kAbsent, kAbsent, kAbsent, kAbsent};
      for (unsigned i = 0; i < pf.fields.size(); ++i) {
        const auto [shift, bits] = pf.fields[i];
        const unsigned sign = (format >> (9 + 2 * i)) & 3;
        const std::uint64_t noise = (x * 7 + y * 3 + i) & ((bits > 8 ? (1ull << (bits - 8)) : 1ull) - 1);
        if (pf.num == Num::Half || pf.num == Num::Single || pf.num == Num::Depth20e4) {
          const bool single = pf.num == Num::Single;
          putBits(texel, shift, bits, fractionAsFloat(p[i], single ? 127 : 15, single ? 23 : pf.num == Num::Half ? 10 : 20));
          c[i] = static_cast<int>(std::floor(p[i] / 256.0 * 255.0 + 0.5));
        } else if (sign == 1) {
          const std::int64_t s = (bits >= 8) ? (std::int64_t{p[i] - 128} << (bits - 8)) | static_cast<std::int64_t>(noise)
                                             : std::int64_t{p[i] - 128} >> (8 - bits);
          putBits(texel, shift, bits, static_cast<std::uint64_t>(s) & ((bits == 64 ? 0 : (1ull << bits)) - 1));
          c[i] = signedToUnit(s, bits);
        } else {
          const std::uint64_t raw = bits >= 8 ? (std::uint64_t{p[i]} << (bits - 8)) | noise : p[i] >> (8 - bits);
          putBits(texel, shift, bits, raw);
          c[i] = widenedUnsigned(static_cast<std::uint32_t>(raw), bits);
        }
      }
      e.texels.insert(e.texels.end(), texel.begin(), texel.end());
      if (x < w) e.expected.push_back(c);
    }
  }
  return e;
}

// ---- block formats ---------------------------------------------------------------------

std::uint16_t to565(const Pixel& p) {
  return static_cast<std::uint16_t>(((p[0] >> 3) << 11) | ((p[1] >> 2) << 5) | (p[2] >> 3));
}
Comps from565(std::uint16_t c) {
  const unsigned r = c >> 11, g = (c >> 5) & 63, b = c & 31;
  return {widenedUnsigned(r, 5), widenedUnsigned(g, 6), widenedUnsigned(b, 5), 255};
}

enum class Block { Dxt1, Dxt3, Dxt5, Dxn, Dxt5A, Dxt3A, Dxt3A1111, Ctx1 };

// Two endpoints and indices 0/1 only, so that every texel decodes to an endpoint.
void encodeEndpointBlock(const std::array<int, 16>& values, std::vector<std::uint8_t>& out, std::array<int, 16>& decoded) {
  const int hi = *std::max_element(values.begin(), values.end());
  const int lo = *std::min_element(values.begin(), values.end());
  out.push_back(static_cast<std::uint8_t>(hi));
  out.push_back(static_cast<std::uint8_t>(lo));
  std::uint64_t codes = 0;
  for (int t = 0; t < 16; ++t) {
    const bool low = values[t] - lo < hi - values[t];
    codes |= std::uint64_t{low ? 1u : 0u} << (3 * t);
    decoded[t] = low ? lo : hi;
  }
  for (int i = 0; i < 6; ++i) out.push_back(static_cast<std::uint8_t>(codes >> (8 * i)));
}

void encodeColourBlock(const std::array<Pixel, 16>& px, std::vector<std::uint8_t>& out, std::array<Comps, 16>& decoded) {
  std::uint16_t c0 = 0, c1 = 0xFFFF;
  int bright = -1, dark = 1 << 20;
  for (const auto& p : px) {
    const int sum = p[0] + p[1] + p[2];
    if (sum > bright) bright = sum, c0 = to565(p);
    if (sum < dark) dark = sum, c1 = to565(p);
  }
  if (c0 < c1) std::swap(c0, c1);
  appendU16(out, c0);
  appendU16(out, c1);
  std::uint32_t indices = 0;
  const Comps e0 = from565(c0), e1 = from565(c1);
  for (int t = 0; t < 16; ++t) {
    auto distance = [&](const Comps& e) {
      return std::abs(e[0] - px[t][0]) + std::abs(e[1] - px[t][1]) + std::abs(e[2] - px[t][2]);
    };
    const bool second = distance(e1) < distance(e0);
    indices |= (second ? 1u : 0u) << (2 * t);
    for (int c = 0; c < 3; ++c) decoded[t][c] = (second ? e1 : e0)[c];  // DXT1's absent alpha reads as full
  }
  appendU32(out, indices);
}

Encoded encodeBlocks(Block kind, std::uint32_t w, std::uint32_t h) {
  Encoded e{w, h, {}, std::vector<Comps>(std::size_t{w} * h)};
  for (std::uint32_t by = 0; by < (h + 3) / 4; ++by) {
    for (std::uint32_t bx = 0; bx < (w + 3) / 4; ++bx) {
      std::array<Pixel, 16> px;
      for (int t = 0; t < 16; ++t) px[t] = source().at(bx * 4 + t % 4, by * 4 + t / 4);
      std::array<Comps, 16> d;
      d.fill({kAbsent, kAbsent, kAbsent, kAbsent});
      auto channel = [&](int c) {
        std::array<int, 16> v;
        for (int t = 0; t < 16; ++t) v[t] = px[t][c];
        return v;
      };
      auto endpoints = [&](int c, int slot) {
        std::array<int, 16> out;
        encodeEndpointBlock(channel(c), e.texels, out);
        for (int t = 0; t < 16; ++t) d[t][slot] = out[t];
      };
      auto nibbles = [&](const std::function<unsigned(int)>& code, const std::function<void(int, unsigned)>& expect) {
        std::uint64_t bits = 0;
        for (int t = 0; t < 16; ++t) {
          bits |= std::uint64_t{code(t)} << (4 * t);
          expect(t, code(t));
        }
        for (int i = 0; i < 8; ++i) e.texels.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
      };
      switch (kind) {
        case Block::Dxt1: encodeColourBlock(px, e.texels, d); break;
        case Block::Dxt3:
          nibbles([&](int t) { return px[t][3] >> 4u; }, [&](int t, unsigned n) { d[t][3] = static_cast<int>(n * 17); });
          encodeColourBlock(px, e.texels, d);
          break;
        case Block::Dxt5:
          endpoints(3, 3);
          encodeColourBlock(px, e.texels, d);
          break;
        case Block::Dxn: endpoints(0, 0); endpoints(1, 1); break;
        case Block::Dxt5A: endpoints(0, 0); break;
        case Block::Dxt3A:
          nibbles([&](int t) { return px[t][0] >> 4u; }, [&](int t, unsigned n) { d[t][0] = static_cast<int>(n * 17); });
          break;
        case Block::Dxt3A1111:
          nibbles([&](int t) { return (px[t][0] >> 7) | (px[t][1] >> 7) << 1 | (px[t][2] >> 7) << 2 | (px[t][3] >> 7) << 3; },
                  [&](int t, unsigned n) { for (int c = 0; c < 4; ++c) d[t][c] = (n >> c) & 1 ? 255 : 0; });
          break;
        case Block::Ctx1: {
          // Endpoints (X, Y) = (red, green) of the brightest and darkest texel.
          int hi = 0, lo = 0;
          for (int t = 1; t < 16; ++t) {
            if (px[t][0] + px[t][1] > px[hi][0] + px[hi][1]) hi = t;
            if (px[t][0] + px[t][1] < px[lo][0] + px[lo][1]) lo = t;
          }
          appendU16(e.texels, static_cast<std::uint16_t>(px[hi][0] << 8 | px[hi][1]));
          appendU16(e.texels, static_cast<std::uint16_t>(px[lo][0] << 8 | px[lo][1]));
          std::uint32_t indices = 0;
          for (int t = 0; t < 16; ++t) {
            auto dist = [&](int s) { return std::abs(px[s][0] - px[t][0]) + std::abs(px[s][1] - px[t][1]); };
            const int pick = dist(lo) < dist(hi) ? lo : hi;
            indices |= (pick == lo ? 1u : 0u) << (2 * t);
            d[t][0] = px[pick][0];
            d[t][1] = px[pick][1];
          }
          appendU32(e.texels, indices);
          break;
        }
      }
      for (int t = 0; t < 16; ++t) {
        const std::uint32_t x = bx * 4 + t % 4, y = by * 4 + t / 4;
        if (x < w && y < h) e.expected[std::size_t{y} * w + x] = d[t];
      }
    }
  }
  return e;
}

// ---- 4:2:2 pairs -------------------------------------------------------------------------

Encoded encodePairs(bool crFirst, bool toRgb, std::uint32_t w, std::uint32_t h) {
  Encoded e{w, h, {}, {}};
  for (std::uint32_t y = 0; y < h; ++y) {
    for (std::uint32_t x = 0; x < w; x += 2) {
      const Pixel a = source().at(x, y), b = source().at(x + 1, y);
      const std::uint8_t y0 = a[1], y1 = b[1], cb = a[2], cr = a[0];
      if (crFirst) e.texels.insert(e.texels.end(), {y0, cb, y1, cr});
      else e.texels.insert(e.texels.end(), {cb, y0, cr, y1});
      for (std::uint8_t luma : {y0, y1}) {
        if (e.expected.size() == std::size_t{y + 1} * w) break;
        if (!toRgb) {
          e.expected.push_back({cr, luma, cb, kAbsent});
          continue;
        }
        const double c = luma - 16, d = cb - 128, f = cr - 128;
        auto clip = [](double v) { return static_cast<int>(std::clamp(std::floor(v), 0.0, 255.0)); };
        e.expected.push_back({clip((298 * c + 409 * f + 128) / 256), clip((298 * c - 100 * d - 208 * f + 128) / 256),
                              clip((298 * c + 516 * d + 128) / 256), 255});
      }
    }
  }
  return e;
}

// ---- the round trip ----------------------------------------------------------------------

std::vector<std::uint8_t> expectedBgra(const Encoded& e, std::uint32_t format) {
  std::vector<std::uint8_t> out;
  for (const Comps& c : e.expected) {
    int rgba[4];
    for (int ch = 0; ch < 4; ++ch) {
      const unsigned s = (format >> (18 + 3 * ch)) & 7;
      rgba[ch] = s < 4 ? (c[s] == kAbsent ? 255 : c[s]) : s == 4 ? 0 : 255;
    }
    std::uint32_t pixel = static_cast<std::uint32_t>(rgba[3] << 24 | rgba[0] << 16 | rgba[1] << 8 | rgba[2]);
    const std::uint32_t mask = xprChannelMask(format);
    if (mask != 0xFFFFFFFF) pixel = (pixel & mask) | ((mask >> 24) ? 0 : 0xFF000000u);
    appendU32(out, pixel);
  }
  return out;
}

std::vector<std::uint8_t> roundTrip(std::uint32_t format, const Encoded& e) {
  XprWriter writer;
  writer.addTexture("t", {.width = e.width, .height = e.height, .format = format, .texels = {{e.texels}}});
  const auto file = writer.build();
  auto parsed = parseXprBundle(file, "bundle");
  EXPECT_TRUE(parsed.bundle.has_value());
  const auto header = xprTextureHeader(*parsed.bundle, parsed.bundle->directory[0]);
  EXPECT_EQ(header.format(), format);
  return convertXprTextureLevel(*parsed.bundle, header, 0, 0).pixels;
}

struct FormatCase {
  const char* name;
  std::uint32_t code;  // linear code; the tiled one adds 0x100
  std::function<Encoded(std::uint32_t code, std::uint32_t w, std::uint32_t h)> encode;
  bool tileable = true;
};

std::function<Encoded(std::uint32_t, std::uint32_t, std::uint32_t)> plain(PlainFormat pf, unsigned blockWidth = 1) {
  return [pf, blockWidth](std::uint32_t code, std::uint32_t w, std::uint32_t h) { return encodePlain(code, pf, w, h, blockWidth); };
}
std::function<Encoded(std::uint32_t, std::uint32_t, std::uint32_t)> blocks(Block b) {
  return [b](std::uint32_t, std::uint32_t w, std::uint32_t h) { return encodeBlocks(b, w, h); };
}
std::function<Encoded(std::uint32_t, std::uint32_t, std::uint32_t)> pairs(bool crFirst, bool toRgb) {
  return [=](std::uint32_t, std::uint32_t w, std::uint32_t h) { return encodePairs(crFirst, toRgb, w, h); };
}

constexpr std::array<unsigned, 4> kU = {0, 0, 0, 0};
constexpr std::array<unsigned, 4> kXYZW = {0, 1, 2, 3};
constexpr std::array<unsigned, 4> kZYXW = {2, 1, 0, 3};

// Linear format codes of every format family; names as the console's headers give them.
std::vector<FormatCase> allFormats() {
  return {
      {"A8", 0x04900002, plain({Num::Fixed, 1, {{0, 8}}})},
      {"L8", 0x28000002, plain({Num::Fixed, 1, {{0, 8}}})},
      {"8_A", makeFormat(8, 0, kU, false, {0, 0, 0, 5}, false), plain({Num::Fixed, 1, {{0, 8}}})},
      {"8_B", makeFormat(9, 0, kU, false, {0, 0, 0, 5}, false), plain({Num::Fixed, 1, {{0, 8}}})},
      {"A1R5G5B5", 0x18280043, plain({Num::Fixed, 2, {{0, 5}, {5, 5}, {10, 5}, {15, 1}}})},
      {"X1R5G5B5", 0x28280043, plain({Num::Fixed, 2, {{0, 5}, {5, 5}, {10, 5}, {15, 1}}})},
      {"R5G6B5", 0x28280044, plain({Num::Fixed, 2, {{0, 5}, {5, 6}, {11, 5}}})},
      {"R6G5B5", 0x28280045, plain({Num::Fixed, 2, {{0, 5}, {5, 5}, {10, 6}}})},
      {"L6V5U5", 0x2A200A45, plain({Num::Fixed, 2, {{0, 5}, {5, 5}, {10, 6}}})},
      {"A8R8G8B8", 0x18280086, plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"X8R8G8B8", 0x28280086, plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"A8B8G8R8", 0x1A200086, plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"X8L8V8U8", 0x2A200A86, plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"Q8W8V8U8", 0x1A20AA86, plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"8_8_8_8_A", makeFormat(14, 2, kU, false, kZYXW, false), plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"8_8_8_8_AS_16_16_16_16", makeFormat(50, 2, kU, false, kZYXW, false), plain({Num::Fixed, 4, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}})},
      {"2_10_10_10", makeFormat(7, 2, kU, false, kZYXW, false), plain({Num::Fixed, 4, {{0, 10}, {10, 10}, {20, 10}, {30, 2}}})},
      {"A2R10G10B10", 0x182800B6, plain({Num::Fixed, 4, {{0, 10}, {10, 10}, {20, 10}, {30, 2}}})},
      {"A8L8", 0x0800004A, plain({Num::Fixed, 2, {{0, 8}, {8, 8}}})},
      {"V8U8", 0x2D20AA4A, plain({Num::Fixed, 2, {{0, 8}, {8, 8}}})},
      {"32_AS_8", makeFormat(39, 2, kU, false, {0, 0, 0, 5}, false), plain({Num::Fixed, 1, {{0, 8}}}, 4)},
      {"32_AS_8_8", makeFormat(40, 2, kU, false, {0, 0, 0, 1}, false), plain({Num::Fixed, 2, {{0, 8}, {8, 8}}}, 2)},
      {"A4R4G4B4", 0x1828004F, plain({Num::Fixed, 2, {{0, 4}, {4, 4}, {8, 4}, {12, 4}}})},
      {"10_11_11", makeFormat(16, 2, kU, false, kZYXW, false), plain({Num::Fixed, 4, {{0, 11}, {11, 11}, {22, 10}}})},
      {"11_11_10", makeFormat(17, 2, kU, false, kZYXW, false), plain({Num::Fixed, 4, {{0, 10}, {10, 11}, {21, 11}}})},
      {"R10G11B11", 0x282800B7, plain({Num::Fixed, 4, {{0, 11}, {11, 11}, {22, 10}}})},
      {"R11G11B10", 0x282800B8, plain({Num::Fixed, 4, {{0, 10}, {10, 11}, {21, 11}}})},
      {"W11V11U10", 0x2A20AAB8, plain({Num::Fixed, 4, {{0, 10}, {10, 11}, {21, 11}}})},
      {"D24X8", 0x2DA00096, plain({Num::Fixed, 4, {{8, 24}}})},
      {"D24FS8", 0x1A220097, plain({Num::Depth20e4, 4, {{8, 24}}})},
      {"L16", 0x28000058, plain({Num::Fixed, 2, {{0, 16}}})},
      {"D16", 0x1A220058, plain({Num::Fixed, 2, {{0, 16}}})},
      {"G16R16", 0x2D200099, plain({Num::Fixed, 4, {{0, 16}, {16, 16}}})},
      {"V16U16", 0x2D20AA99, plain({Num::Fixed, 4, {{0, 16}, {16, 16}}})},
      {"A16B16G16R16", 0x1A20005A, plain({Num::Fixed, 8, {{0, 16}, {16, 16}, {32, 16}, {48, 16}}})},
      {"16_EXPAND", makeFormat(27, 1, {1, 1, 1, 1}, true, {0, 5, 5, 5}, false), plain({Num::Half, 2, {{0, 16}}})},
      {"16_16_EXPAND", makeFormat(28, 2, {1, 1, 1, 1}, true, {0, 1, 5, 5}, false), plain({Num::Half, 4, {{0, 16}, {16, 16}}})},
      {"16_16_16_16_EXPAND", makeFormat(29, 1, {1, 1, 1, 1}, true, kXYZW, false), plain({Num::Half, 8, {{0, 16}, {16, 16}, {32, 16}, {48, 16}}})},
      {"R16F", 0x2DA2AA5E, plain({Num::Half, 2, {{0, 16}}})},
      {"G16R16F", 0x2D22AA9F, plain({Num::Half, 4, {{0, 16}, {16, 16}}})},
      {"A16B16G16R16F", 0x1A22AA60, plain({Num::Half, 8, {{0, 16}, {16, 16}, {32, 16}, {48, 16}}})},
      {"D32", 0x1A2200A1, plain({Num::Fixed, 4, {{0, 32}}})},
      {"32_32", makeFormat(34, 2, kU, false, {0, 1, 5, 5}, false), plain({Num::Fixed, 8, {{0, 32}, {32, 32}}})},
      {"32_32_32_32", makeFormat(35, 2, kU, false, kXYZW, false), plain({Num::Fixed, 16, {{0, 32}, {32, 32}, {64, 32}, {96, 32}}})},
      {"R32F", 0x2DA2AAA4, plain({Num::Single, 4, {{0, 32}}})},
      {"G32R32F", 0x2D22AAA5, plain({Num::Single, 8, {{0, 32}, {32, 32}}})},
      {"A32B32G32R32F", 0x1A22AAA6, plain({Num::Single, 16, {{0, 32}, {32, 32}, {64, 32}, {96, 32}}})},
      {"32_32_32_FLOAT", makeFormat(57, 2, {1, 1, 1, 1}, true, {0, 1, 2, 5}, false), plain({Num::Single, 12, {{0, 32}, {32, 32}, {64, 32}}}), false},
      {"DXT1", 0x1A200052, blocks(Block::Dxt1)},
      {"DXT1_AS_16_16_16_16", makeFormat(51, 1, kU, false, kXYZW, false), blocks(Block::Dxt1)},
      {"DXT2_3", 0x1A200053, blocks(Block::Dxt3)},
      {"DXT2_3_AS_16_16_16_16", makeFormat(52, 1, kU, false, kXYZW, false), blocks(Block::Dxt3)},
      {"DXT4_5", 0x1A200054, blocks(Block::Dxt5)},
      {"DXT4_5_AS_16_16_16_16", makeFormat(53, 1, kU, false, kXYZW, false), blocks(Block::Dxt5)},
      {"DXN", 0x1A200071, blocks(Block::Dxn)},
      {"DXT3A", 0x1A20007A, blocks(Block::Dxt3A)},
      {"DXT5A", 0x1A20007B, blocks(Block::Dxt5A)},
      {"CTX1", 0x1A20007C, blocks(Block::Ctx1)},
      {"DXT3A_AS_1_1_1_1", 0x1A20007D, blocks(Block::Dxt3A1111)},
      {"YUY2", 0x1A20004B, pairs(true, true)},
      {"UYVY", 0x1A20004C, pairs(false, true)},
      {"R8G8_B8G8", 0x1828004B, pairs(true, false)},
      {"G8R8_G8B8", 0x1828004C, pairs(false, false)},
  };
}

}  // namespace

TEST(XboxConvert, EveryFormatComesBackFromTiledAndLinearBundles) {
  // Sizes that are no multiple of 32 blocks (nor of the block size), and a multiple.
  const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{37, 21}, {150, 70}, {64, 32}};
  for (const auto& f : allFormats()) {
    for (bool tiled : {false, true}) {
      if (tiled && !f.tileable) continue;
      const std::uint32_t code = f.code | (tiled ? 0x100u : 0u);
      for (const auto& [w, h] : sizes) {
        const Encoded e = f.encode(code, w, h);
        const auto expected = expectedBgra(e, code);
        const auto got = roundTrip(code, e);
        ASSERT_EQ(got.size(), expected.size()) << f.name;
        const std::size_t bad = static_cast<std::size_t>(std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin());
        EXPECT_TRUE(bad == got.size()) << f.name << (tiled ? " tiled " : " linear ") << w << "x" << h << ": texel " << bad / 4
                                       << " byte " << bad % 4 << " is " << int(got[bad]) << ", expected " << int(expected[bad]);
      }
    }
  }
}

// Hand-made texels in console byte order that pin the rules the round trip cannot reach:
// swizzle constants, float clamps, DXT interpolation and three-colour mode, alpha-block
// modes, two-channel order and the YUV formula. kAbsent marks a byte left unchecked.
TEST(XboxConvert, HandMadeTexelsPinTheChannelRules) {
  struct Pin {
    const char* what;
    std::uint32_t format, w, h;
    std::vector<std::uint8_t> stored;
    std::size_t texel;
    std::array<int, 4> bgra;
  };
  const std::vector<std::uint8_t> dxt3 = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                          0x00, 0x1F, 0xF8, 0x00, 0x00, 0x02, 0x00, 0x00};
  const Pin pins[] = {
      // A=11 R=22 G=33 B=44 is stored as 11 22 33 44.
      {"A8R8G8B8", 0x18280086, 1, 1, {0x11, 0x22, 0x33, 0x44}, 0, {0x44, 0x33, 0x22, 0x11}},
      {"X8R8G8B8", 0x28280086, 1, 1, {0x11, 0x22, 0x33, 0x44}, 0, {0x44, 0x33, 0x22, 0xFF}},
      {"A8B8G8R8", 0x1A200086, 1, 1, {0x11, 0x22, 0x33, 0x44}, 0, {0x22, 0x33, 0x44, 0x11}},
      {"A8 takes the constant 0", 0x04900002, 1, 1, {0x80}, 0, {0, 0, 0, 0x80}},
      {"L8", 0x28000002, 1, 1, {0x80}, 0, {0x80, 0x80, 0x80, 0xFF}},
      {"DXT5A, absent components are full", 0x1A20007B, 1, 1, {0x40, 0x40, 0, 0, 0, 0, 0, 0}, 0, {255, 255, 0x40, 255}},
      // Narrow channels repeat their bits, wide ones keep the top (0x9D47: 0x13, 0x2A, 0x07).
      {"R5G6B5", 0x28280044, 1, 1, {0x9D, 0x47}, 0, {0x39, 0xAA, 0x9C, 0xFF}},
      {"2_10_10_10: 0x3FF, 0x201, 0x0FF, 1", 0x1A200087, 1, 1, {0x4F, 0xF8, 0x07, 0xFF}, 0, {0x3F, 0x80, 0xFF, 85}},
      // Signed: -128 and -127 are both -1; U feeds red, V = 0 green.
      {"V8U8 -128", 0x2D20AA4A, 1, 1, {0x00, 0x80}, 0, {255, 128, 0, kAbsent}},
      {"V8U8 -127", 0x2D20AA4A, 1, 1, {0x00, 0x81}, 0, {255, 128, 0, kAbsent}},
      {"V8U8 127", 0x2D20AA4A, 1, 1, {0x00, 0x7F}, 0, {255, 128, 255, kAbsent}},
      {"V8U8 64", 0x2D20AA4A, 1, 1, {0x00, 0x40}, 0, {255, 128, 192, kAbsent}},
      // Floats clamp to 0..1 and round half up; NaN reads as full.
      {"R16F 0.5", 0x2DA2AA5E, 1, 1, {0x38, 0x00}, 0, {kAbsent, kAbsent, 128, kAbsent}},
      {"R16F -2", 0x2DA2AA5E, 1, 1, {0xC0, 0x00}, 0, {kAbsent, kAbsent, 0, kAbsent}},
      {"R16F 3", 0x2DA2AA5E, 1, 1, {0x42, 0x00}, 0, {kAbsent, kAbsent, 255, kAbsent}},
      {"R16F NaN", 0x2DA2AA5E, 1, 1, {0x7E, 0x00}, 0, {kAbsent, kAbsent, 255, kAbsent}},
      {"R16F infinity", 0x2DA2AA5E, 1, 1, {0x7C, 0x00}, 0, {kAbsent, kAbsent, 255, kAbsent}},
      {"R32F 0.25", 0x2DA2AAA4, 1, 1, {0x3E, 0x80, 0x00, 0x00}, 0, {kAbsent, kAbsent, 64, kAbsent}},
      // DXT1 colour 0 red, colour 1 blue (bytes swapped in 16-bit units); thirds truncate.
      {"DXT1 index 0", 0x1A200052, 4, 4, {0xF8, 0x00, 0x00, 0x1F, 0, 0, 0, 0}, 0, {0x00, 0x00, 0xFF, 0xFF}},
      {"DXT1 index 0, last texel", 0x1A200052, 4, 4, {0xF8, 0x00, 0x00, 0x1F, 0, 0, 0, 0}, 15, {0x00, 0x00, 0xFF, 0xFF}},
      {"DXT1 index 2", 0x1A200052, 4, 4, {0xF8, 0x00, 0x00, 0x1F, 0xAA, 0xAA, 0xAA, 0xAA}, 0, {85, 0, 170, 255}},
      // Colour 0 <= colour 1: index 2 is the mean, index 3 transparent black.
      {"DXT1 three colours, mean", 0x1A200052, 4, 4, {0x00, 0x1F, 0xF8, 0x00, 0x00, 0xFE, 0x00, 0x00}, 0, {127, 0, 127, 255}},
      {"DXT1 three colours, black", 0x1A200052, 4, 4, {0x00, 0x1F, 0xF8, 0x00, 0x00, 0xFE, 0x00, 0x00}, 1, {0, 0, 0, 0}},
      {"DXT3 colour blocks always have four colours", 0x1A200053, 4, 4, dxt3, 0, {170, 0, 85, 255}},
      // DXT5A a0 255 > a1 0: codes 2 and 7 give 218 and 36.
      {"DXT5A 8 values, code 2", 0x1A20007B, 4, 4, {0, 255, 0, 0x3A, 0, 0, 0, 0}, 0, {kAbsent, kAbsent, 218, kAbsent}},
      {"DXT5A 8 values, code 7", 0x1A20007B, 4, 4, {0, 255, 0, 0x3A, 0, 0, 0, 0}, 1, {kAbsent, kAbsent, 36, kAbsent}},
      // a0 0 <= a1 255: codes 2, 6 and 7 give (4 a0 + a1) / 5, 0 and 255.
      {"DXT5A 6 values, code 2", 0x1A20007B, 4, 4, {255, 0, 0x01, 0xF2, 0, 0, 0, 0}, 0, {kAbsent, kAbsent, 51, kAbsent}},
      {"DXT5A 6 values, code 6", 0x1A20007B, 4, 4, {255, 0, 0x01, 0xF2, 0, 0, 0, 0}, 1, {kAbsent, kAbsent, 0, kAbsent}},
      {"DXT5A 6 values, code 7", 0x1A20007B, 4, 4, {255, 0, 0x01, 0xF2, 0, 0, 0, 0}, 2, {kAbsent, kAbsent, 255, kAbsent}},
      // DXN: first half red, second green. CTX1: X in an endpoint's high byte, Y in its low.
      {"DXN", 0x1A200071, 4, 4, {0x10, 0x10, 0, 0, 0, 0, 0, 0, 0xE0, 0xE0, 0, 0, 0, 0, 0, 0}, 0, {0xFF, 0xE0, 0x10, 0xFF}},
      {"CTX1", 0x1A20007C, 4, 4, {0xC0, 0x40, 0, 0, 0, 0, 0, 0}, 0, {0xFF, 0x40, 0xC0, 0xFF}},
      // YUY2 stored Cb Y0 Cr Y1: white then black, and red.
      {"YUY2 white", 0x1A20004B, 2, 1, {128, 235, 128, 16}, 0, {255, 255, 255, 255}},
      {"YUY2 black", 0x1A20004B, 2, 1, {128, 235, 128, 16}, 1, {0, 0, 0, 255}},
      {"YUY2 red", 0x1A20004B, 2, 1, {90, 81, 240, 81}, 0, {0, 0, 255, 255}},
  };
  for (const Pin& p : pins) {
    const auto out = xbox::convertToBgra(p.stored, p.stored.size(), p.w, p.h, p.format);
    ASSERT_EQ(out.size(), std::size_t{p.w} * p.h * 4) << p.what;
    for (std::size_t c = 0; c < 4; ++c)
      EXPECT_TRUE(p.bgra[c] == kAbsent || out[p.texel * 4 + c] == p.bgra[c])
          << p.what << ", byte " << c << " is " << int(out[p.texel * 4 + c]) << ", expected " << p.bgra[c];
  }
}

TEST(XboxConvert, EndianSwapsAndErrors) {
  // Units past the last whole one are left alone; long runs go eight bytes at once, then units.
  const std::vector<std::uint8_t> five = {1, 2, 3, 4, 5}, eleven = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  const std::tuple<std::vector<std::uint8_t>, xbox::Endian, std::vector<std::uint8_t>> swaps[] = {
      {five, xbox::Endian::Swap8In16, {2, 1, 4, 3, 5}},
      {five, xbox::Endian::Swap8In32, {4, 3, 2, 1, 5}},
      {five, xbox::Endian::Swap16In32, {3, 4, 1, 2, 5}},
      {eleven, xbox::Endian::Swap8In16, {2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 11}},
      {eleven, xbox::Endian::Swap8In32, {4, 3, 2, 1, 8, 7, 6, 5, 9, 10, 11}},
      {eleven, xbox::Endian::Swap16In32, {3, 4, 1, 2, 7, 8, 5, 6, 9, 10, 11}},
  };
  for (auto [data, endian, expected] : swaps) {
    xbox::endianSwap(data, endian);
    EXPECT_EQ(data, expected) << static_cast<int>(endian);
  }
  const std::vector<std::uint8_t> three = {1, 2, 3}, zeros(64);
  EXPECT_THROW(xbox::convertToBgra(three, 3, 1, 1, 0x18280086), Error);   // too short
  EXPECT_THROW(xbox::convertToBgra(zeros, 64, 2, 2, 0x0D), Error);        // EDRAM format
  EXPECT_THROW(xbox::convertToBgra(zeros, 4, 2, 2, 0x18280086), Error);   // pitch < row
}
