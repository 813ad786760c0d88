// Every Xbox 360 texture format, tiled and linear, 2-D and cube, with mip levels and packed
// tails, converted from random texels (tests/data/xpr/formats.xpr.gz), which reach every DXT
// mode, float special value and signed extreme. The digests were taken when each format's
// conversion had been checked texel by texel against its channel rules.
#include <gtest/gtest.h>

#include <map>

#include "support/sha256.h"
#include "support/test_support.h"
#include "xbox/xbox_convert.h"
#include "xbox/xbox_texture.h"
#include "xbox/xpr_level.h"

using namespace vellmark;
using namespace vellmark::xbox;
using namespace vellmark::test;

TEST(XboxFormats, EveryFormatConvertsToItsKnownPixels) {
  const auto file = loadData("xpr/formats.xpr.gz");
  const XprBundle bundle = *parseXprBundle(file, "formats").bundle;
  std::map<int, std::vector<std::uint8_t>> streams;
  for (const XprResource& r : bundle.directory) {
    const TextureHeader header = xprTextureHeader(bundle, r);
    auto& s = streams[std::stoi(xprResourceName(bundle, r).substr(1, 2))];
    for (std::uint32_t level = 0; level < header.levelCount(); ++level)
      for (std::uint32_t face = 0; face < (header.cube() ? 6u : 1u); ++face) {
        try {
          const XprLevelImage image = convertXprTextureLevel(bundle, header, face, level);
          s.insert(s.end(), {static_cast<std::uint8_t>(image.width), static_cast<std::uint8_t>(image.height), image.inMipTail});
          s.insert(s.end(), image.pixels.begin(), image.pixels.end());
        } catch (const Error& e) {
          s.insert(s.end(), {0xEE, static_cast<std::uint8_t>(e.kind())});
        }
      }
  }
  // One line per GPU format with the digest of all its levels and faces, in bundle order.
  std::string listing;
  for (const auto& [gpu, stream] : streams) listing += std::to_string(gpu) + " " + sha256Hex(stream) + "\n";
  EXPECT_EQ(sha256Hex(std::span(reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size())),
            "80d83fcea5776b15e61a6ddefc39312ec43f177f3119d20714d61b08b9e8e3bb") << listing;
}

TEST(XboxTiling, RectanglesThatLeaveTheSurfaceAreErrors) {
  std::vector<std::uint8_t> exact(2 * 32 * 32 * 4), dst(32 * 32 * 4);
  EXPECT_NO_THROW(untile(std::span(exact).first(4096), {32, 2, 0, 0, 32, 32}, dst, 128));
  const struct { const char* what; std::size_t source; TiledRect rect; std::size_t target, pitch; } cases[] = {
      {"source a byte short", 4095, {32, 2, 0, 0, 32, 32}, 4096, 128},
      {"one row past the tile", 4096, {32, 2, 0, 1, 32, 32}, 4096, 128},
      {"wider than the pitch", 4096, {32, 2, 1, 0, 32, 1}, 4096, 128},
      {"pitch not a tile multiple", 8192, {48, 2, 0, 0, 8, 8}, 4096, 32},
      {"target too small", 4096, {32, 2, 0, 0, 32, 32}, 100, 128},
  };
  for (const auto& c : cases)
    EXPECT_THROW(untile(std::span(exact).first(c.source), c.rect, std::span(dst).first(c.target), c.pitch), Error) << c.what;
}

TEST(XboxConvert, EndianSwapsLeaveAShortTailAndBadInputIsAnError) {
  for (const auto& [endian, swapped] : {std::pair(Endian::Swap8In16, bytes({2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 11})),
                                        std::pair(Endian::Swap8In32, bytes({4, 3, 2, 1, 8, 7, 6, 5, 9, 10, 11})),
                                        std::pair(Endian::Swap16In32, bytes({3, 4, 1, 2, 7, 8, 5, 6, 9, 10, 11}))}) {
    auto data = bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    endianSwap(data, endian);
    EXPECT_EQ(data, swapped) << static_cast<int>(endian);
  }
  const std::vector<std::uint8_t> three = {1, 2, 3}, zeros(64);
  EXPECT_THROW(convertToBgra(three, 3, 1, 1, 0x18280086), Error);  // too short
  EXPECT_THROW(convertToBgra(zeros, 64, 2, 2, 0x0D), Error);       // EDRAM format
  EXPECT_THROW(convertToBgra(zeros, 4, 2, 2, 0x18280086), Error);  // pitch < row
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x10D, 1, 0, 0, 0), Error);      // 16_16_EDRAM
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x100 | 57, 1, 0, 0, 0), Error);  // tiled 12-byte texels
  EXPECT_NO_THROW(makeTextureLayout(16, 16, 1, 1, 57, 1, 0, 0, 0));
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 3, 0, 0, 0), Error);  // 96 < 100 texels
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 0, 0, 0, 0), Error);
}

// Selector 7 keeps each channel's own component, as the identity would; 6 has no documented
// meaning and reads as the constant 0.
TEST(XboxConvert, SwizzleSelectorsSixAndSeven) {
  const auto code = [](std::uint32_t r, std::uint32_t g, std::uint32_t b, std::uint32_t a) {
    return 6u | r << 18 | g << 21 | b << 24 | a << 27;  // 8_8_8_8, linear, no swap
  };
  const std::vector<std::uint8_t> texel = {0x11, 0x22, 0x33, 0x44};  // X, Y, Z, W from the low byte up
  EXPECT_EQ(convertToBgra(texel, 4, 1, 1, code(0, 1, 2, 3)), bytes({0x33, 0x22, 0x11, 0x44}));
  EXPECT_EQ(convertToBgra(texel, 4, 1, 1, code(7, 7, 7, 7)), bytes({0x33, 0x22, 0x11, 0x44}));
  EXPECT_EQ(convertToBgra(texel, 4, 1, 1, code(7, 6, 6, 3)), bytes({0x00, 0x00, 0x11, 0x44}));
  EXPECT_EQ(convertToBgra(texel, 4, 1, 1, code(6, 5, 4, 6)), bytes({0x00, 0xFF, 0x00, 0x00}));
}
