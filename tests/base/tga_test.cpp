#include "base/tga.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// 2 x 2, 24 bits, bottom row first, a 3-byte ID and a colour map of two 24-bit entries.
const std::vector<std::uint8_t> kBottomFirst24 = bytes({3, 1, 2, 0, 0, 2, 0, 24, 0, 0, 0, 0, 2, 0, 2, 0, 24, 0x00,
                                                        'i', 'd', '!', 9, 9, 9, 9, 9, 9,  // ID, colour map
                                                        1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});

}  // namespace

TEST(Tga, HeadersWrittenAndRead) {
  const auto image = makeTgaImage(0x12C0, 2, std::vector<std::uint8_t>(0x12C0 * 2 * 4 + 1, 7));
  EXPECT_EQ(std::vector<std::uint8_t>(image.begin(), image.begin() + 18),
            bytes({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0x12, 2, 0, 0x20, 0x20}));
  EXPECT_THROW(makeTgaImage(4, 4, std::vector<std::uint8_t>(63)), Error);
  EXPECT_EQ(readTgaHeader(makeTga(1, 1, 32, 0x28, {}), "a").depthAndDescriptor(), 0x2820);
  EXPECT_EQ(readTgaHeader(makeTga(0x8001, 1, 32, 0, {}), "a").signedWidth(), -0x7FFF);
}

TEST(Tga, ReaderSkipsIdAndColourMapAndComesOutTopRowFirst) {
  EXPECT_EQ(readTgaImage(kBottomFirst24, "t").pixels, bytes({7, 8, 9, 255, 10, 11, 12, 255, 1, 2, 3, 255, 4, 5, 6, 255}));
  const auto top = readTgaImage(makeTga(2, 1, 32, 0x28, bytes({1, 2, 3, 4, 5, 6, 7, 8})), "t");
  EXPECT_EQ(std::tuple(top.width, top.height, top.pixels), std::tuple(2u, 1u, bytes({1, 2, 3, 4, 5, 6, 7, 8})));
  for (auto [at, value] : {std::pair{2, 10}, {2, 1}, {16, 16}, {17, 0x10}}) {  // RLE, mapped, 16 bits, right to left
    auto other = kBottomFirst24;
    other[at] = static_cast<std::uint8_t>(value);
    EXPECT_EQ(errorKind([&] { readTgaImage(other, "t"); }), ErrorKind::Unsupported) << at << " = " << value;
  }
}

TEST(Tga, FlipKeepsTheHeaderMarksTheLayoutAndReversesOnlyTheGivenRows) {
  auto file = makeTga(1, 4, 32, 0x08, bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  file[0] = 5;  // an ID length the game ignores: rows start at byte 18
  auto expected = std::vector<std::uint8_t>(file.begin(), file.begin() + 18);
  expected[16] = expected[17] = 0x20;
  for (int v : {9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4}) expected.push_back(static_cast<std::uint8_t>(v));
  EXPECT_EQ(flipTgaRows(file, 4, 3, "f"), expected);
}

TEST(Tga, EveryTruncatedPrefixIsRejected) {
  const auto tga = makeTga(2, 2, 32, 0x20, patternPixels(2, 2));
  const std::vector<std::pair<std::function<void(Bytes)>, std::vector<std::uint8_t>>> parsers = {
      {[](Bytes b) { readTgaHeader(b, "h"); }, std::vector<std::uint8_t>(tga.begin(), tga.begin() + 18)},
      {[](Bytes b) { tgaPixelRows(b, 8, 2, "p"); }, tga},
      {[](Bytes b) { flipTgaRows(b, 8, 2, "f"); }, tga},
      {[](Bytes b) { readTgaImage(b, "i"); }, kBottomFirst24},
  };
  for (const auto& row : parsers) {
    const auto& parse = row.first;
    const auto& whole = row.second;
    EXPECT_NO_THROW(parse(whole));
    for (std::size_t n = 0; n < whole.size(); ++n) {
      const std::vector<std::uint8_t> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
      EXPECT_EQ(errorKind([&] { parse(prefix); }), ErrorKind::Truncated) << n << " of " << whole.size();
    }
  }
}
