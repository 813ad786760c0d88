#include "btc/btc_file.h"

#include <gtest/gtest.h>

#include <optional>

#include "btc/btc_codec.h"
#include "btc/btc_file_writer.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> tileStream(int size, int seed) {
  const int blocks = (size / 4) * (size / 4);
  std::vector<std::uint8_t> s;
  appendU16(s, btcCommand(BtcRunType::Solid, static_cast<std::uint32_t>(blocks)));
  for (int k = 0; k < blocks; ++k) s.insert(s.end(), {std::uint8_t(k), std::uint8_t(k >> 8), std::uint8_t(seed), std::uint8_t(200 + seed)});
  return s;
}

struct Entry {
  std::int16_t id, size, x, y;
  int seed;
  std::optional<std::uint32_t> offset = {}, length = {};
};

std::vector<std::uint8_t> btcFile(std::uint16_t width, std::uint16_t height, const std::vector<Entry>& entries,
                                  std::uint32_t magic = kBtcFileMagic) {
  std::vector<std::uint8_t> f(20 + 16 * entries.size(), 0);
  putU32(f, 0, magic);
  putU16(f, 4, width);
  putU16(f, 6, height);
  putU16(f, 10, 0x1234);  // flags: no effect
  putU32(f, 16, static_cast<std::uint32_t>(entries.size()));
  for (std::size_t k = 0; k < entries.size(); ++k) {
    const Entry& e = entries[k];
    const std::size_t at = 20 + 16 * k;
    for (int i = 0; std::int16_t field : {e.id, e.size, e.x, e.y}) putU16(f, at + 2 * i++, static_cast<std::uint16_t>(field));
    auto stream = tileStream(std::max<int>(0, e.size) / 4 * 4, e.seed);
    putU32(f, at + 8, e.offset.value_or(static_cast<std::uint32_t>(f.size())));
    putU32(f, at + 12, e.length.value_or(static_cast<std::uint32_t>(stream.size())));
    f.insert(f.end(), stream.begin(), stream.end());
  }
  return f;
}

std::vector<std::uint8_t> pixelsOf(const std::vector<std::uint8_t>& tga) { return {tga.begin() + 18, tga.end()}; }

ErrorKind errorKindOf(const std::vector<std::uint8_t>& file) {
  return errorKind([&] { convertBtcToTga(file); });
}

}  // namespace

// The digests were taken when a pixel-by-pixel placement (bottom up, clipped, first entry of a
// tileId wins) gave the same images.
TEST(BtcFile, PlacesTilesFromTheBottomClipsAndSharesTileIds) {
  const std::vector<std::pair<std::vector<Entry>, const char*>> cases = {
      {{{1, 8, 0, 0, 1}, {2, 8, 36, 4, 2}, {3, 8, 8, 20, 3}, {4, 8, -4, 8, 4}, {5, 8, 20, -4, 5}, {6, 8, 100, 0, 6},
        {7, 8, 0, 100, 7}, {8, 8, -50, 0, 8}, {9, 8, 0, -50, 9}, {10, 12, 28, 8, 10}},
       "51f4b10b229e770eb8a10268a1c459a3d82ba95303aa99ba69d12a79e36e381a"},
      {{{7, 8, 0, 0, 1}, {7, 8, 16, 8, 2}, {7, 4, 28, 0, 3, 0xFFFFFFF0u, 0x100u}, {2, 8, 8, 0, 4}, {7, 8, 24, 16, 5}},
       "17f6b78ebd0e0da0bb6420d703e5b5de2483791d74c1e250ad10c062f3654e2b"},
      {{{1, 0, 0, 0, 1, 0xFFFFFFF0u, 0x100u}, {2, 8, 8, 8, 2}, {3, 256, -200, -200, 3}},
       "2b0a8e0b6ccb232bda912b856dc314096ad2643b22e18ee7f04e6676b6ebf498"},
  };
  for (const auto& [entries, digest] : cases) {
    EXPECT_EQ(sha256Hex(convertBtcToTga(btcFile(40, 24, entries))), digest);
  }
  // A negative count reads no entry; a wrong magic decodes nothing.
  auto negative = btcFile(40, 24, {{1, 8, 0, 0, 1}});
  putU32(negative, 16, 0xFFFFFFFFu);
  for (const auto& f : {negative, btcFile(40, 24, {{1, 8, 0, 0, 1, 0xFFFFFF00u}}, 0x56435441)})
    EXPECT_EQ(pixelsOf(convertBtcToTga(f)), std::vector<std::uint8_t>(40 * 24 * 4, 0));
}

TEST(BtcFile, RejectsWhatLiesOutsideTheFileAndUnusableTiles) {
  const auto good = btcFile(64, 64, {{1, 8, 0, 0, 1}, {2, 8, 8, 0, 2}});
  auto table = good;
  putU32(table, 16, 5);
  EXPECT_EQ(errorKindOf(table), ErrorKind::Truncated);
  EXPECT_EQ(errorKindOf(btcFile(64, 64, {})), ErrorKind::Corrupt);
  EXPECT_EQ(errorKindOf(btcFile(64, 64, {{1, 8, 0, 0, 1, {}, 0x1000u}})), ErrorKind::Truncated);
  EXPECT_EQ(errorKindOf(btcFile(64, 64, {{1, 8, 0, 0, 1, 0xFFFFFFF0u, 0x20u}})), ErrorKind::Truncated);
  EXPECT_EQ(errorKindOf(btcFile(64, 64, {{1, 8, 0, 0, 1}, {2, 257, 0, 0, 1}})), ErrorKind::Corrupt);
  EXPECT_EQ(errorKindOf(btcFile(64, 64, {{1, -4, 0, 0, 1}})), ErrorKind::Corrupt);
  EXPECT_EQ(errorKindOf(btcFile(65535, 65535, {{1, 8, 0, 0, 1}})), ErrorKind::Unsupported);

  const auto three = btcFile(24, 24, {{1, 8, 0, 0, 1}, {1, 8, 16, 16, 3}, {2, 8, 4, 4, 2}});
  for (std::size_t n = 0; n < three.size(); ++n)
    EXPECT_EQ(errorKindOf(std::vector<std::uint8_t>(three.begin(), three.begin() + static_cast<std::ptrdiff_t>(n))),
              ErrorKind::Truncated)
        << n;
  auto longer = three;
  longer.resize(three.size() + 100, 0x5A);
  EXPECT_EQ(convertBtcToTga(longer), convertBtcToTga(three));
}

TEST(BtcFile, WriterTilesFromTheBottomLeftAndSharesRepeatedTiles) {
  for (auto [w, h] : {std::pair{600u, 300u}, {10u, 8u}, {4u, 1000u}}) {
    const Image image{w, h, blockPixels(w, h, static_cast<int>(w % 7))};
    EXPECT_EQ(pixelsOf(convertBtcToTga(makeBtcFile(image))), image.pixels) << w << " x " << h;
  }
  // Sixteen identical tiles: one stream, one tileId, placed 256 apart from the bottom left.
  const auto file = makeBtcFile(Image{1024, 1024, std::vector<std::uint8_t>(1024 * 1024 * 4, 9)});
  EXPECT_EQ(file.size(), 20 + 16 * 16 + 2 + 4096 * 4u);
  EXPECT_EQ(std::vector<std::uint8_t>(file.begin() + 260, file.begin() + 276),
            bytes({0, 0, 0, 1, 0, 3, 0, 3, 0x14, 0x01, 0, 0, 0x02, 0x40, 0, 0}));  // the last entry
  EXPECT_EQ(convertBtcToTga(makeBtcFile(Image{0, 5, {}})).size(), 18u);
  EXPECT_THROW(makeBtcFile(Image{70000, 1, {}}), Error);
  EXPECT_THROW(makeBtcFile(Image{4, 4, std::vector<std::uint8_t>(63)}), Error);
}

// The encoder's error on these was measured against a reference block compressor.
TEST(BtcFile, RealTexturesGiveTheirCheckedFiles) {
  struct Case { const char *file, *btc, *tga; };
  const Case cases[] = {
      {"textures/leaf_branch_256x512_rgba32.tga.gz", "74f8775b0d8812e39982c3b57808fefc4234265bf98dc24613a72e4681917e75", "53bd6b4b1111107bf83894c79857b0d58df9629d49cab5116c2e8afb1253b9c9"},
      {"textures/explosion_flipbook_512x512_rgba32.tga.gz", "45ae07565f0ac1e98cbc10af0ca23cdc0920b0ef77842ab8b95767513ad4437e", "ea395901361f82a759b34ea499b8f19118c5c7db344ee0c7b79795e344ac92dd"},
      {"textures/tree_bark_320x240_rgb24_bottomup.tga", "8e84ddd11bd20a1188baea7d4c0165fc75ed22b1a62ec04fdec0cb04dba1d975", "ee25a5a7cd23264501108379b62422b4445d86155869fd9948c07dda58419b15"},
      {"textures/ship_hull_wood_256x256_rgb24.tga", "1d1396ca269a82b25f1a2717532284bbb5b24af25a32b20030ae612e514d48a6", "08c50a3cf033b52e7d30f59479af2fe2e0bc8e85889f2dfc3ae050361f37f20b"},
      {"textures/scarecrow_128x256_rgba32_bottomup.tga", "788c8cd3f90d027480a5ba409230e6efa6db7a4f6ef5658234df584b23fd37ae", "5a63caa5266fbd5ca7ada190ddb75b2ccfc434903eb8f01c1483fa0885571056"},
  };
  for (const Case& c : cases) {
    const auto btc = makeBtcFile(readTgaImage(loadData(c.file), c.file));
    EXPECT_EQ(sha256Hex(btc), c.btc) << c.file;
    EXPECT_EQ(sha256Hex(convertBtcToTga(btc)), c.tga) << c.file;
  }
}
