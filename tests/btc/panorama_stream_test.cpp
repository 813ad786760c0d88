#include "btc/panorama_stream.h"

#include <gtest/gtest.h>

#include "btc/panorama_stream_writer.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

Image blockImage(std::uint32_t width, std::uint32_t height, int seed = 0) { return {width, height, blockPixels(width, height, seed)}; }

std::vector<std::uint8_t> tgaOf(const Image& image) {
  return makeTga(std::uint16_t(image.width), std::uint16_t(image.height), 32, 0x20, image.pixels);
}

std::vector<std::uint8_t> tiledHeader(std::uint32_t width, std::uint32_t height, std::uint32_t across, std::uint32_t down) {
  std::vector<std::uint8_t> s;
  for (std::uint32_t word : {0u, width, height, across, down}) appendU32(s, word);
  return s;
}

std::vector<std::uint8_t> emptySkyStream() {
  auto s = tiledHeader(0, 0, 19, 0);
  s.resize(20 + 94 * 8, 0);
  return s;
}

}  // namespace

// The sky came back at 46.7 dB when the encoder was written.
TEST(PanoramaStream, RealImagesGiveTheirCheckedStreamsAndImages) {
  struct Case { const char* file; bool sky; const char *stream, *image; };
  const Case cases[] = {
      {"sky/sky_4800x320_top.tga.gz", true, "a27f46883a153c1c4244f505a910f8fabef8df9da1564d55a52b964b0dad3cb4", "5dbb1077d4980d2162c5ef7eaa68c29b9fb32b708fbf722ac3972713f7cee1ce"},
      {"sky/sky_4800x320_top.tga.gz", false, "b0d20b5bf76e1c4d35d12a0a4808fbfbeabae9b2051b4586d84b4dab32c52e96", "5dbb1077d4980d2162c5ef7eaa68c29b9fb32b708fbf722ac3972713f7cee1ce"},
      {"textures/explosion_flipbook_512x512_rgba32.tga.gz", false, "90a43c0426ffa646a8d67df8db4ab171af7ac3c9c979ca94507af8b05d48ab76", "ea395901361f82a759b34ea499b8f19118c5c7db344ee0c7b79795e344ac92dd"},
      {"textures/tree_bark_320x240_rgb24_bottomup.tga", false, "1a2bc2894e5c90e2fc3b5fe2ba537bd61e04dba83630e561aaa40be3085a1831", "ee25a5a7cd23264501108379b62422b4445d86155869fd9948c07dda58419b15"},
  };
  TileStore store;
  for (const Case& c : cases) {
    const Image image = readTgaImage(loadData(c.file), c.file);
    const auto stream = c.sky ? makeSkyPanoramaStream(image) : makeTiledPanoramaStream(image);
    EXPECT_EQ(sha256Hex(stream), c.stream) << c.file;
    const auto tga = c.sky ? buildSkyPanorama(stream, store, "sky") : buildTiledPanorama(stream, store, "tiled");
    EXPECT_EQ(sha256Hex(tga), c.image) << c.file;
    EXPECT_EQ(describedTiledPanoramaSize(stream.data()), c.sky ? 20 : stream.size()) << c.file;
  }
}

TEST(PanoramaStream, LayoutsComeBackExactly) {
  TileStore store;
  // All-zero tiles are 't' records of exactly 4 bytes that clear their slot.
  Image half = blockImage(1024, 256, 5);
  for (std::uint32_t y = 0; y < 256; ++y) std::fill_n(half.pixels.begin() + y * 4096, 2048, 0);
  const auto halfStream = makeTiledPanoramaStream(half);
  EXPECT_EQ(std::tuple(halfStream[20], halfStream[24], halfStream[28]), std::tuple('t', 't', 0));
  EXPECT_EQ(buildTiledPanorama(halfStream, store, "half"), tgaOf(half));
  const auto black = buildSkyPanorama(emptySkyStream(), store, "black");
  EXPECT_TRUE(std::all_of(black.begin() + 18, black.end(), [](std::uint8_t b) { return b == 0; }));

  // Rows 768-1023 of 2 x 4 tiles read band 2's slots past their 256th row: slots 5 and 6.
  const Image tall = blockImage(512, 1024, 6);
  auto stream = tiledHeader(512, 1024, 2, 4);
  for (std::uint32_t band = 0; band < 4; ++band) {
    const auto from = tall.pixels.begin() + band * 256 * 2048;
    const auto part = makeTiledPanoramaStream(Image{512, 256, std::vector<std::uint8_t>(from, from + 256 * 2048)});
    stream.insert(stream.end(), part.begin() + 20, part.end());
  }
  Image expected = tall;
  for (std::size_t r = 768; r < 1024; ++r) {
    std::copy_n(tall.pixels.begin() + (r - 256) * 2048 + 1024, 1024, expected.pixels.begin() + r * 2048);
    std::copy_n(tall.pixels.begin() + r * 2048, 1024, expected.pixels.begin() + r * 2048 + 1024);
  }
  EXPECT_EQ(buildTiledPanorama(stream, store, "tall"), tgaOf(expected));
}

TEST(PanoramaStream, RejectsWhatWouldOverrunTheStoreTheImageOrTheData) {
  TileStore store;
  const std::vector<std::pair<std::vector<std::uint8_t>, ErrorKind>> cases = {
      {tiledHeader(256 * 95, 1, 95, 1), ErrorKind::Unsupported},  // 95 tiles
      {tiledHeader(7201, 768, 29, 3), ErrorKind::Unsupported},    // 5,530,368 pixels
      {tiledHeader(256, 10, 0, 1), ErrorKind::Corrupt},           // no tile across
      {tiledHeader(300, 10, 3, 1), ErrorKind::Corrupt},           // last tile of -212 columns
      {tiledHeader(7936, 513, 32, 1), ErrorKind::Unsupported},    // band 2 needs slots up to 95
      {tiledHeader(256, 256, 1, 1), ErrorKind::Truncated},        // no record
  };
  for (const auto& c : cases)
    EXPECT_EQ(errorKind([&] { buildTiledPanorama(c.first, store, "tiled"); }), c.second) << getU32(c.first, 4);
  EXPECT_EQ(buildTiledPanorama(tiledHeader(0, 0, 0, 0), store, "empty"), makeTga(0, 0, 32, 0x20, {}));
  auto wrongCount = emptySkyStream();  // 18 wide tiles
  putU32(wrongCount, 12, 18);
  EXPECT_EQ(errorKind([&] { buildSkyPanorama(wrongCount, store, "sky"); }), ErrorKind::Unsupported);

  // The tiled stream has blocks in two tiles and a 't' record between them.
  Image sparse{520, 8, std::vector<std::uint8_t>(520 * 8 * 4, 0)};
  for (int y = 0; y < 4; ++y)
    for (int x : {0, 5, 513}) sparse.pixels[(y * 520 + x) * 4 + y] = 200;
  const std::vector<std::pair<std::vector<std::uint8_t>, std::function<void(Bytes)>>> parsers = {
      {makeTiledPanoramaStream(sparse), [&](Bytes b) { buildTiledPanorama(b, store, "cut"); }},
      {emptySkyStream(), [&](Bytes b) { buildSkyPanorama(b, store, "cut"); }}};
  for (const auto& row : parsers)
    for (std::size_t n = 0; n < row.first.size(); ++n) {
      const std::vector<std::uint8_t> cut(row.first.begin(), row.first.begin() + static_cast<std::ptrdiff_t>(n));
      EXPECT_EQ(errorKind([&] { row.second(cut); }), ErrorKind::Truncated) << n << " of " << row.first.size();
    }
  EXPECT_THROW(makeSkyPanoramaStream(blockImage(4800, 321)), Error);
  EXPECT_THROW(makeTiledPanoramaStream(blockImage(256, 769)), Error);
  EXPECT_THROW(makeTiledPanoramaStream(blockImage(256 * 95, 1)), Error);
}
