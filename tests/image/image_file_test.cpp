// The image layer: every file kind against pixels known from elsewhere (hand-written TGA
// bytes, fixtures whose pixels ImageMagick reports, the TGA reader of base/), and the files it
// must refuse before allocating for them.
#include <gtest/gtest.h>

#include "image/image_file.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Pixels = std::vector<std::uint8_t>;

// R,G,B,A quadruples (the order ImageMagick prints) as the layer's B,G,R,A.
Pixels bgra(std::initializer_list<int> rgba) {
  Pixels out(rgba.begin(), rgba.end());
  for (std::size_t i = 0; i + 3 < out.size(); i += 4) std::swap(out[i], out[i + 2]);
  return out;
}

std::vector<std::uint8_t> cat(std::vector<std::uint8_t> a, const std::vector<std::uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// An 18-byte TGA header of a 2 x 2 image.
std::vector<std::uint8_t> tga(int idLength, int mapType, int type, int mapStart, int mapLength, int mapBits, int depth,
                              int descriptor) {
  return bytes({idLength, mapType, type, mapStart, 0, mapLength, 0, mapBits, 0, 0, 0, 0, 2, 0, 2, 0, depth, descriptor});
}

const Pixels kAbcd = bgra({3, 2, 1, 255, 6, 5, 4, 255, 9, 8, 7, 255, 12, 11, 10, 255});

}  // namespace

TEST(ImageFile, DecodesEveryTgaKindTopRowFirst) {
  const struct {
    const char* what;
    std::vector<std::uint8_t> file;
    Pixels expected;
  } rows[] = {
      {"24 bits, bottom row first", cat(tga(0, 0, 2, 0, 0, 0, 24, 0), bytes({7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6})), kAbcd},
      {"32 bits after an ID field", cat(tga(3, 0, 2, 0, 0, 0, 32, 0x28), bytes({'i', 'd', '!', 1, 2, 3, 128, 4, 5, 6, 0, 7, 8, 9, 255, 10, 11, 12, 1})),
       bgra({3, 2, 1, 128, 6, 5, 4, 0, 9, 8, 7, 255, 12, 11, 10, 1})},
      {"true colour carrying a colour map", cat(tga(0, 1, 2, 0, 2, 24, 24, 0x20), bytes({99, 99, 99, 98, 98, 98, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12})), kAbcd},
      {"colour map from entry 2", cat(tga(0, 1, 1, 2, 4, 24, 8, 0), bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 4, 5, 2, 3})), kAbcd},
      {"greyscale", cat(tga(0, 0, 3, 0, 0, 0, 8, 0x20), bytes({10, 20, 30, 40})), bgra({10, 10, 10, 255, 20, 20, 20, 255, 30, 30, 30, 255, 40, 40, 40, 255})},
      {"15-bit", cat(tga(0, 0, 2, 0, 0, 0, 16, 0x20), bytes({0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00, 0xFF, 0xFF})),
       bgra({255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255})},
      {"run-length true colour", cat(tga(0, 0, 10, 0, 0, 0, 24, 0x20), bytes({0x81, 1, 2, 3, 0x01, 7, 8, 9, 10, 11, 12})),
       bgra({3, 2, 1, 255, 3, 2, 1, 255, 9, 8, 7, 255, 12, 11, 10, 255})},
      {"run-length colour-mapped", cat(tga(0, 1, 9, 0, 2, 24, 8, 0x20), bytes({1, 2, 3, 4, 5, 6, 0x83, 1})),
       bgra({6, 5, 4, 255, 6, 5, 4, 255, 6, 5, 4, 255, 6, 5, 4, 255})},
      {"run-length greyscale", cat(tga(0, 0, 11, 0, 0, 0, 8, 0x20), bytes({0x00, 5, 0x82, 9})),
       bgra({5, 5, 5, 255, 9, 9, 9, 255, 9, 9, 9, 255, 9, 9, 9, 255})},
      {"right to left", cat(tga(0, 0, 2, 0, 0, 0, 24, 0x30), bytes({4, 5, 6, 1, 2, 3, 10, 11, 12, 7, 8, 9})), kAbcd},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Image image = decodeImage(row.file, "tga");
    EXPECT_EQ(image.width, 2u);
    EXPECT_EQ(image.height, 2u);
    EXPECT_EQ(image.pixels, row.expected);
    // Every prefix is refused, in a block of exactly its size.
    for (std::size_t n = 0; n < row.file.size(); ++n)
      EXPECT_THROW(decodeImage(std::vector<std::uint8_t>(row.file.begin(), row.file.begin() + n), "cut"), Error) << n;
  }
}

TEST(ImageFile, DecodesPngJpegAndBmpAsImageMagickDoes) {
  const struct {
    const char* file;
    std::uint32_t width, height;
    Pixels expected;  // every pixel, or with a tolerance the four corners and middle of each quadrant
    int tolerance;
  } rows[] = {
      {"rgba_4x2.png", 4, 2,
       bgra({255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0, 255, 255, 255, 255, 16, 32, 48, 64, 80, 96, 112, 128, 144, 160,
             176, 192, 208, 224, 240, 255}), 0},
      {"palette_4x2.png", 4, 2,
       bgra({255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255, 16, 32, 48, 255, 80, 96, 112, 255, 144,
             160, 176, 255, 208, 224, 240, 255}), 0},
      {"grey16_4x2.png", 4, 2,
       bgra({0, 0, 0, 255, 17, 17, 17, 255, 34, 34, 34, 255, 51, 51, 51, 255, 68, 68, 68, 255, 85, 85, 85, 255, 255, 255,
             255, 255, 128, 128, 128, 255}), 0},
      {"rgb24_3x2.bmp", 3, 2,
       bgra({255, 0, 0, 255, 0, 128, 255, 255, 10, 20, 30, 255, 1, 2, 3, 255, 200, 100, 50, 255, 255, 255, 0, 255}), 0},
      {"quadrants_16x16.jpg", 16, 16,
       bgra({200, 40, 40, 255, 40, 200, 40, 255, 40, 40, 200, 255, 231, 230, 60, 255}), 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const auto file = readFile(dataPath(std::string("images/") + row.file));
    const Image image = decodeImage(file, row.file);
    ASSERT_EQ(image.width, row.width);
    ASSERT_EQ(image.height, row.height);
    if (row.tolerance == 0) {
      EXPECT_EQ(image.pixels, row.expected);
    } else {
      for (std::size_t q = 0; q < 4; ++q)
        for (std::uint32_t y : {0u, 7u}) {
          const std::size_t at = ((q / 2 * 8 + y) * 16 + q % 2 * 8 + y) * 4;
          for (std::size_t c = 0; c < 4; ++c)
            EXPECT_NEAR(image.pixels[at + c], row.expected[q * 4 + c], row.tolerance) << q << " " << c;
        }
    }
    for (std::size_t n = 0; n < file.size(); ++n)
      EXPECT_THROW(decodeImage(std::vector<std::uint8_t>(file.begin(), file.begin() + n), "cut"), Error) << n;
    // What the encoder writes decodes to the same pixels.
    EXPECT_EQ(decodeImage(encodePng(image), "png").pixels, image.pixels);
  }
}

TEST(ImageFile, RealTexturesMatchAnIndependentDecoder) {
  // Colour-mapped: ImageMagick's pixels (its raw output keeps the stored row order, hence -flip
  // for the bottom-up file). True colour: the plain TGA reader of base/.
  EXPECT_EQ(sha256Hex(decodeImage(loadData("textures/fabric_check_128x128_cm8.tga"), "cm8").pixels),
            "4248ac1fff5e569ad8ecf27f824e88d85fc64886b02767e5ad4daf88c59819fc");
  EXPECT_EQ(sha256Hex(decodeImage(loadData("textures/cubicmap_atlas_64x64_cm8_bottomup.tga"), "cm8").pixels),
            "1226693a98056fe96c6b81f04b30c30b0b1267e61485292ab83340cc60f753cb");
  for (const char* name : {"tree_bark_320x240_rgb24_bottomup.tga", "scarecrow_128x256_rgba32_bottomup.tga",
                           "leaf_branch_256x512_rgba32.tga.gz"}) {
    const auto file = loadData(std::string("textures/") + name);
    EXPECT_EQ(decodeImage(file, name).pixels, readTgaImage(file, name).pixels) << name;
  }
}

TEST(ImageFile, RefusesHostileFilesBeforeAllocatingForThem) {
  auto withBytes = [](std::string fixture, std::size_t at, std::initializer_list<int> values) {
    auto file = readFile(dataPath("images/" + fixture));
    std::size_t i = at;
    for (int v : values) file.at(i++) = static_cast<std::uint8_t>(v);
    return file;
  };
  const auto jpeg = readFile(dataPath("images/quadrants_16x16.jpg"));
  const std::uint8_t sofMarker[] = {0xFF, 0xC0};
  const auto sof = static_cast<std::size_t>(std::search(jpeg.begin(), jpeg.end(), sofMarker, sofMarker + 2) - jpeg.begin());
  // A 1 x 1 grey PNG whose zlib data inflates to 64 MiB; CRCs are not checked by the decoder.
  std::vector<std::uint8_t> bomb = bytes({0x89, 'P', 'N', 'G', 13, 10, 26, 10, 0, 0, 0, 13, 'I', 'H', 'D', 'R', 0, 0, 0, 1,
                                          0, 0, 0, 1, 8, 0, 0, 0, 0, 0, 0, 0, 0});
  const auto deflated = zlibCompress(std::vector<std::uint8_t>(64 << 20, 0), 9);
  bomb = cat(cat(bomb, bytes({0, 0, 0, 0, 'I', 'D', 'A', 'T'})), deflated);
  putU32(bomb, 33, __builtin_bswap32(static_cast<std::uint32_t>(deflated.size())));
  bomb = cat(bomb, bytes({0, 0, 0, 0, 0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82}));
  const struct {
    const char* what;
    std::vector<std::uint8_t> file;
    ErrorKind kind;
  } rows[] = {
      {"TGA of 65535 x 65535", bytes({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 32, 0x20}), ErrorKind::Unsupported},
      {"PNG of 65535 x 65535", withBytes("rgba_4x2.png", 16, {0, 0, 255, 255, 0, 0, 255, 255}), ErrorKind::Unsupported},
      {"BMP of 65535 x 65535", withBytes("rgb24_3x2.bmp", 18, {255, 255, 0, 0, 255, 255}), ErrorKind::Unsupported},
      {"JPEG of 65535 x 65535", withBytes("quadrants_16x16.jpg", sof + 5, {255, 255, 255, 255}), ErrorKind::Unsupported},
      {"decompression bomb", bomb, ErrorKind::Corrupt},
      {"no picture", bytes({'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '!', 0, 0, 0, 0, 0, 0, 0}), ErrorKind::Unsupported},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(errorKind([&] { decodeImage(row.file, row.what); }), row.kind);
  }
}

// Indexed PNGs, read back by stb: every palette entry's colour and transparency, with
// entries past the last see-through one left out of the transparency chunk.
TEST(ImageFile, IndexedPngsKeepTheirPaletteAndTransparency) {
  std::array<std::uint8_t, 1024> palette{};
  for (int i = 0; i < 256; ++i)
    palette[4 * i] = static_cast<std::uint8_t>(i), palette[4 * i + 1] = static_cast<std::uint8_t>(255 - i),
    palette[4 * i + 2] = static_cast<std::uint8_t>(i * 7), palette[4 * i + 3] = i == 3 ? 0 : (i == 5 ? 128 : 255);
  std::vector<std::uint8_t> indices(17 * 16);  // every entry: 37 is prime to 256
  for (std::size_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<std::uint8_t>(i * 37);
  const Image back = decodeImage(encodeIndexedPng(17, 16, palette, indices), "indexed");
  ASSERT_EQ(std::make_pair(back.width, back.height), std::make_pair(17u, 16u));
  for (std::size_t i = 0; i < indices.size(); ++i) {
    const std::uint8_t* e = &palette[4 * indices[i]];
    ASSERT_EQ((Pixels{back.pixels.begin() + 4 * i, back.pixels.begin() + 4 * i + 4}), (Pixels{e[2], e[1], e[0], e[3]})) << i;
  }
  EXPECT_EQ(errorKind([&] { encodeIndexedPng(17, 17, palette, indices); }), ErrorKind::Argument);
}
