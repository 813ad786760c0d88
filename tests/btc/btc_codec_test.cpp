#include "btc/btc_codec.h"

#include <gtest/gtest.h>

#include <random>

#include "btc/btc_encoder.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Pixel = std::array<std::uint8_t, 4>;  // B, G, R, A

std::vector<Pixel> decode4x4(const std::vector<std::uint8_t>& stream) {
  std::vector<std::uint8_t> out(64, 0xAB);
  EXPECT_TRUE(decodeBtcStream(4, 4, out, stream));
  std::vector<Pixel> pixels(16);
  for (int p = 0; p < 16; ++p) std::copy_n(out.begin() + 4 * p, 4, pixels[p].begin());
  return pixels;
}

// Drawn with rng() % n so that every standard library draws the same streams.
std::vector<std::uint8_t> randomStream(std::mt19937& rng, unsigned blocks) {
  std::vector<std::uint8_t> s;
  for (unsigned runs = rng() % 13; runs > 0; --runs) {
    const unsigned type = rng() % 8 == 0 ? rng() % 16 : 1 + rng() % 4;
    const unsigned length = rng() % 16 == 0 ? 0 : 1 + rng() % (blocks / 2 + 2);
    appendU16(s, static_cast<std::uint16_t>(type << 12 | (length & 0xFFF)));
    const std::size_t payload = btcPayloadPerBlock(type) * (length == 0 ? 4096 : length);
    for (std::size_t i = 0; i < payload; ++i) s.push_back(static_cast<std::uint8_t>(rng()));
  }
  if (!s.empty() && rng() % 4 == 0) s.resize(rng() % s.size());
  return {s.begin(), s.end()};  // a block of exactly the stream's size, for AddressSanitizer
}

}  // namespace

// The digest was taken when the decoder matched a plain pixel-by-pixel decoder on these streams.
TEST(BtcCodec, RandomStreamsDecodeToTheCheckedImages) {
  std::mt19937 rng(20260122);
  std::string digests;
  for (int iteration = 0; iteration < 3000; ++iteration) {
    const bool big = iteration % 50 == 0;
    const int width = big ? 256 + 4 * static_cast<int>(rng() % 8) : static_cast<int>(rng() % 37);
    const int height = big ? 256 : static_cast<int>(rng() % 37);
    const auto stream = randomStream(rng, static_cast<unsigned>(((width + 3) / 4) * ((height + 3) / 4)));
    auto image = patternPixels(width, height, static_cast<std::uint32_t>(iteration));
    ASSERT_TRUE(decodeBtcStream(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), image, stream));
    digests += sha256Hex(image);
  }
  EXPECT_EQ(sha256Hex(std::span(reinterpret_cast<const std::uint8_t*>(digests.data()), digests.size())),
            "c371c00ddbb0f3b908f619ec5ea22b143139e51945a1f230f63d1bf98156c38f");
}

TEST(BtcCodec, ColourAndAlphaPalettes) {
  const auto grey = decode4x4(bytes({0x01, 0x20, 0x00, 0x00, 0xFF, 0xFF, 0xE4, 0x1B, 0x00, 0x00}));
  const std::vector<Pixel> levels = {{0, 0, 0, 255}, {255, 255, 255, 255}, {85, 85, 85, 255}, {170, 170, 170, 255}};
  for (int x = 0; x < 4; ++x) EXPECT_EQ(std::tuple(grey[x], grey[7 - x]), std::tuple(levels[x], levels[x])) << x;

  auto alphas = [](std::uint8_t a0, std::uint8_t a1) {
    std::uint64_t field = 0;
    for (int p = 0; p < 16; ++p) field |= static_cast<std::uint64_t>(p % 8) << (3 * p);
    std::vector<std::uint8_t> s = {0x01, 0x30, a0, a1};
    for (int i = 0; i < 6; ++i) s.push_back(static_cast<std::uint8_t>(field >> (8 * i)));
    s.insert(s.end(), {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0});
    const auto pixels = decode4x4(s);
    EXPECT_EQ(pixels[15], (Pixel{255, 255, 255, pixels[7][3]}));
    std::vector<int> out;
    for (int p = 0; p < 8; ++p) out.push_back(pixels[p][3]);
    return out;
  };
  EXPECT_EQ(alphas(255, 0), (std::vector<int>{255, 0, 219, 182, 146, 109, 73, 36}));
  EXPECT_EQ(alphas(2, 1), (std::vector<int>{2, 1, 2, 2, 2, 1, 1, 1}));
  EXPECT_EQ(alphas(1, 2), (std::vector<int>{1, 2, 1, 1, 2, 2, 0, 255}));
  EXPECT_EQ(alphas(100, 100), (std::vector<int>{100, 100, 100, 100, 100, 100, 0, 255}));

  std::vector<std::uint8_t> small(8 * 8 * 4 - 1);
  EXPECT_THROW(decodeBtcStream(8, 8, small, bytes({0x01, 0x40, 1, 2, 3, 4})), Error);
  EXPECT_TRUE(decodeBtcStream(0, 9, {}, bytes({0x01, 0x40, 1, 2, 3, 4})));
}

TEST(BtcEncoder, ChoosesTheRunTypeAndMergesRunsUpTo4096Blocks) {
  EXPECT_EQ(encodeBtcStream(4 * 8192, 4, std::vector<std::uint8_t>(8192 * 64, 0)), bytes({0, 0x10, 0, 0x10}));
  std::vector<std::uint8_t> px;
  for (int i = 0; i < 4097 * 16; ++i) px.insert(px.end(), {10, 20, 30, 0});
  const auto solid = encodeBtcStream(4 * 4097, 4, px);
  EXPECT_EQ(std::vector<std::uint8_t>(solid.begin(), solid.begin() + 6), bytes({0x00, 0x40, 10, 20, 30, 0}));
  EXPECT_EQ(std::vector<std::uint8_t>(solid.end() - 6, solid.end()), bytes({0x01, 0x40, 10, 20, 30, 0}));
  px = patternPixels(12, 4, 3);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) px[(y * 12 + x) * 4 + 3] = 255;
  const auto mixed = encodeBtcStream(12, 4, px);
  ASSERT_EQ(mixed.size(), 2 + 2 * 8 + 2 + 16u);
  EXPECT_EQ(std::tuple(loadU16(&mixed[0]), loadU16(&mixed[18])), std::tuple(0x2002, 0x3001));
}
