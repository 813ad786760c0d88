#include "btc/btc_file.h"
#include "tools/btc_to_tga.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tools/messages.h"
#include "btc/btc_codec.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Pixel = std::array<std::uint8_t, 4>;

// The colour a test tile gives block k: distinct per block and per tile.
Pixel tileColour(int seed, int block) {
  return {static_cast<std::uint8_t>(block), static_cast<std::uint8_t>(block >> 8), static_cast<std::uint8_t>(seed),
          static_cast<std::uint8_t>(200 + seed)};
}

// A size x size tile (size a multiple of 4) of solid blocks coloured by tileColour.
std::vector<std::uint8_t> tileStream(int size, int seed) {
  std::vector<std::uint8_t> s;
  const int blocks = (size / 4) * (size / 4);
  for (int first = 0; first < blocks; first += 4096) {
    const int n = std::min(4096, blocks - first);
    appendU16(s, btcCommand(BtcRunType::Solid, static_cast<std::uint32_t>(n)));
    for (int k = first; k < first + n; ++k) {
      auto c = tileColour(seed, k);
      s.insert(s.end(), c.begin(), c.end());
    }
  }
  return s;
}

// Pixel (row j, column i) of tile `seed` decoded at `decodedSize` and read back with the
// stride of `ownSize`, as the converter reads its one tile image.
Pixel tilePixel(int seed, int decodedSize, int ownSize, int j, int i) {
  const int linear = j * ownSize + i;
  const int row = linear / decodedSize, column = linear % decodedSize;
  return tileColour(seed, (row / 4) * (decodedSize / 4) + column / 4);
}

struct Entry {
  std::int16_t id, size, x, y;
  int seed;  // the tile stream this entry points at (its own, decoded at its own size)
  std::optional<std::uint32_t> offset, length;  // overrides of the computed fields
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
    putU16(f, at, static_cast<std::uint16_t>(e.id));
    putU16(f, at + 2, static_cast<std::uint16_t>(e.size));
    putU16(f, at + 4, static_cast<std::uint16_t>(e.x));
    putU16(f, at + 6, static_cast<std::uint16_t>(e.y));
    auto stream = tileStream(std::max<int>(0, e.size) / 4 * 4, e.seed);
    putU32(f, at + 8, e.offset.value_or(static_cast<std::uint32_t>(f.size())));
    putU32(f, at + 12, e.length.value_or(static_cast<std::uint32_t>(stream.size())));
    f.insert(f.end(), stream.begin(), stream.end());
  }
  return f;
}

// The expected image, built pixel by pixel: tile row j of each entry on row
// height - y - size + j from the top, only what falls inside.
std::vector<std::uint8_t> expectedImage(int width, int height, const std::vector<Entry>& entries) {
  std::vector<std::uint8_t> px(static_cast<std::size_t>(width) * height * 4, 0);
  for (std::size_t k = 0; k < entries.size(); ++k) {
    std::size_t source = k;
    for (std::size_t m = 0; m < k; ++m)
      if (entries[m].id == entries[k].id) {
        source = m;
        break;
      }
    const Entry& e = entries[k];
    for (int j = 0; j < e.size; ++j)
      for (int i = 0; i < e.size; ++i) {
        const int row = height - e.y - e.size + j, column = e.x + i;
        if (row < 0 || row >= height || column < 0 || column >= width) continue;
        const Pixel p = tilePixel(entries[source].seed, entries[source].size, e.size, j, i);
        std::copy(p.begin(), p.end(), px.begin() + (static_cast<std::ptrdiff_t>(row) * width + column) * 4);
      }
  }
  return px;
}

std::vector<std::uint8_t> pixelsOf(const std::vector<std::uint8_t>& tga) { return {tga.begin() + 18, tga.end()}; }

const std::vector<std::uint8_t> kHeader40x24 = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 40, 0, 24, 0, 0x20, 0x20};

}  // namespace

TEST(BtcToTga, PlacesTilesFromTheBottomAndClipsToTheImage) {
  const std::vector<Entry> entries = {
      {1, 8, 0, 0, 1, {}, {}},     // bottom-left corner: image rows 16-23
      {2, 8, 36, 4, 2, {}, {}},    // overhangs the right edge: 4 columns
      {3, 8, 8, 20, 3, {}, {}},    // y above height - size: only its last 4 stored rows, on rows 0-3
      {4, 8, -4, 8, 4, {}, {}},    // negative x: its right half
      {5, 8, 20, -4, 5, {}, {}},   // negative y: its first 4 stored rows, on rows 20-23
      {6, 8, 100, 0, 6, {}, {}},   // wholly outside on every side
      {7, 8, 0, 100, 7, {}, {}},
      {8, 8, -50, 0, 8, {}, {}},
      {9, 8, 0, -50, 9, {}, {}},
      {10, 12, 28, 8, 10, {}, {}},  // a 12-pixel tile (3 x 3 blocks) fully inside
  };
  auto tga = convertBtcToTga(btcFile(40, 24, entries));
  ASSERT_TRUE(tga);
  ASSERT_EQ(tga->size(), 18u + 40 * 24 * 4);
  EXPECT_EQ(std::vector<std::uint8_t>(tga->begin(), tga->begin() + 18), kHeader40x24);
  EXPECT_EQ(pixelsOf(*tga), expectedImage(40, 24, entries));
}

TEST(BtcToTga, SharedTileIdDecodesTheFirstEntrysStreamAtItsSize) {
  // Entry 2 shares id 7 with entry 0: it shows entry 0's tile (decoded at 8 x 8) read with
  // its own size 4 as stride, at its own place; entry 1 repeats entry 0 elsewhere. Entry 2's
  // own offsets point nowhere and are never read.
  const std::vector<Entry> entries = {
      {7, 8, 0, 0, 1, {}, {}},
      {7, 8, 16, 8, 2, {}, {}},
      {7, 4, 28, 0, 3, 0xFFFFFFF0u, 0x100u},
  };
  auto tga = convertBtcToTga(btcFile(32, 16, entries));
  ASSERT_TRUE(tga);
  EXPECT_EQ(pixelsOf(*tga), expectedImage(32, 16, entries));
}

TEST(BtcToTga, EntryCountZeroNegativeAndAWrongMagic) {
  ScratchDir dir;
  RecordingHost host;
  auto none = btcFile(40, 24, {});
  btcToTga(host, none, dir.file("none.tga"));
  EXPECT_EQ(host.boxes,
            (std::vector<RecordingHost::Box>{{messages::kInvalidBtcCaption, messages::kInvalidBtcText}}));
  EXPECT_FALSE(fileExists(dir.file("none.tga")));

  // A negative count: the header and width x height x 4 zero bytes, no entry read.
  auto negative = btcFile(40, 24, {{1, 8, 0, 0, 1, {}, {}}});
  putU32(negative, 16, 0xFFFFFFFFu);
  host.boxes.clear();
  btcToTga(host, negative, dir.file("negative.tga"));
  EXPECT_TRUE(host.boxes.empty());
  auto expected = kHeader40x24;
  expected.resize(18 + 40 * 24 * 4, 0);
  EXPECT_EQ(readFile(dir.file("negative.tga")), expected);

  // A wrong magic decodes nothing: all zero, and stream offsets are not looked at.
  auto magic = convertBtcToTga(btcFile(40, 24, {{1, 8, 0, 0, 1, 0xFFFFFF00u, {}}}, 0x56435441));
  ASSERT_TRUE(magic);
  EXPECT_EQ(*magic, expected);
}

TEST(BtcToTga, RejectsEntriesAndStreamsOutsideTheFileAndOversizedTiles) {
  const auto good = btcFile(64, 64, {{1, 8, 0, 0, 1, {}, {}}, {2, 8, 8, 0, 2, {}, {}}});
  ASSERT_TRUE(convertBtcToTga(good));

  auto table = good;
  putU32(table, 16, 5);  // five entries do not fit
  EXPECT_FALSE(convertBtcToTga(table));
  putU32(table, 16, 0x7FFFFFFF);
  EXPECT_FALSE(convertBtcToTga(table));

  EXPECT_FALSE(convertBtcToTga(btcFile(64, 64, {{1, 8, 0, 0, 1, {}, 0x1000u}})));          // stream too long
  EXPECT_FALSE(convertBtcToTga(btcFile(64, 64, {{1, 8, 0, 0, 1, 0xFFFFFFF0u, 0x20u}})));  // offset wraps
  EXPECT_FALSE(convertBtcToTga(btcFile(64, 64, {{1, 257, 0, 0, 1, {}, {}}})));
  EXPECT_FALSE(convertBtcToTga(btcFile(64, 64, {{1, -4, 0, 0, 1, {}, {}}})));
  // A later entry that is rejected rejects the whole file.
  EXPECT_FALSE(convertBtcToTga(btcFile(64, 64, {{1, 8, 0, 0, 1, {}, {}}, {2, 300, 0, 0, 1, {}, {}}})));
  EXPECT_FALSE(convertBtcToTga(std::vector<std::uint8_t>(good.begin(), good.begin() + 19)));
  // A header that claims 16 GiB of pixels is an error, not an allocation.
  EXPECT_THROW(convertBtcToTga(btcFile(65535, 65535, {{1, 8, 0, 0, 1, {}, {}}})), Error);

  // A 256 tile is the largest; a size-0 tile copies nothing and its stream is not read.
  EXPECT_TRUE(convertBtcToTga(btcFile(64, 64, {{1, 256, 0, 0, 1, {}, {}}})));
  const std::vector<Entry> empty = {{1, 0, 0, 0, 1, 0xFFFFFFF0u, 0x100u}, {2, 8, 8, 8, 2, {}, {}}};
  auto tga = convertBtcToTga(btcFile(16, 16, empty));
  ASSERT_TRUE(tga);
  EXPECT_EQ(pixelsOf(*tga), expectedImage(16, 16, empty));
}

TEST(BtcToTga, EveryTruncatedPrefixIsRejected) {
  const auto good = btcFile(24, 24, {{1, 8, 0, 0, 1, {}, {}}, {1, 8, 16, 16, 3, {}, {}}, {2, 8, 4, 4, 2, {}, {}}});
  for (std::size_t n = 0; n < good.size(); ++n) {
    const std::vector<std::uint8_t> prefix(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n));
    auto tga = convertBtcToTga(prefix);
    // Every prefix cuts the last stream, so every one is rejected.
    EXPECT_FALSE(tga) << n;
  }
  // Trailing bytes change nothing.
  auto longer = good;
  longer.resize(good.size() + 100, 0x5A);
  EXPECT_EQ(convertBtcToTga(longer), convertBtcToTga(good));
}

TEST(BtcToTga, ProgramAndLibraryWriteTheSameFile) {
  ScratchDir dir;
  const std::vector<Entry> entries = {{1, 8, 0, 0, 1, {}, {}}, {2, 12, 30, 6, 2, {}, {}}, {1, 8, 20, 10, 3, {}, {}}};
  const auto file = btcFile(40, 24, entries);
  writeFile(dir.file("in.btc"), file);
  writeFile(dir.file("bad.btc"), btcFile(8, 8, {}));

  void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  using Export = void (*)(const void*, const char*, int);
  auto convert = reinterpret_cast<Export>(dlsym(lib, "BTC2TGA"));
  ASSERT_NE(convert, nullptr);
  convert(file.data(), dir.file("lib.tga").c_str(), static_cast<int>(file.size()));
  // A negative length is an error that stays inside the library.
  convert(file.data(), dir.file("negative.tga").c_str(), -1);
  dlclose(lib);

  auto cli = runCli({"btc2tga", dir.file("in.btc"), dir.file("cli.tga")});
  EXPECT_EQ(cli.status, 0) << cli.err;
  const auto written = readFile(dir.file("cli.tga"));
  EXPECT_EQ(written, readFile(dir.file("lib.tga")));
  EXPECT_EQ(pixelsOf(written), expectedImage(40, 24, entries));
  EXPECT_FALSE(fileExists(dir.file("negative.tga")));

  auto bad = runCli({"BTC2TGA", dir.file("bad.btc"), dir.file("bad.tga")});
  EXPECT_EQ(bad.status, 0);
  EXPECT_EQ(bad.err, "Invalid BTC File: Sorry unable to process btc file\n");
  EXPECT_FALSE(fileExists(dir.file("bad.tga")));
}
