#include "tools/panorama.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "archive/course_archive.h"
#include "base/error.h"
#include "archive/zlib_member.h"
#include "tools/btc_writers.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

Image blockImage(std::uint32_t width, std::uint32_t height, int seed = 0) {
  return Image{width, height, blockPixels(width, height, seed)};
}

std::vector<std::uint8_t> tgaOf(const Image& image) {
  return makeTga(static_cast<std::uint16_t>(image.width), static_cast<std::uint16_t>(image.height), 32, 0x20,
                 image.pixels);
}

struct Member {
  std::string name;
  std::vector<std::uint8_t> data;
};

std::vector<std::uint8_t> archiveOf(const std::vector<Member>& members) {
  CourseArchiveWriter writer;
  for (const auto& m : members) writer.addMember(m.name, compressMember(m.data), static_cast<std::uint32_t>(m.data.size()));
  return std::move(writer).finish();
}

std::vector<std::uint8_t> tiledStream(std::uint32_t width, std::uint32_t height, std::uint32_t across,
                                      std::uint32_t down) {
  std::vector<std::uint8_t> s;
  for (std::uint32_t word : {0u, width, height, across, down}) appendU32(s, word);
  return s;
}

}  // namespace

TEST(Panorama, RealSkyPhotographRoundTripsThroughTheSkyArchive) {
  const auto original = loadData("sky/sky_4800x320_top.tga.gz");
  const Image image = readTgaImage(original, "sky");
  ScratchDir dir;
  writeFile(dir.file("sky.lib"), archiveOf({{"sky.btc", makeSkyPanoramaStream(image)}}));
  auto cli = runCli({"panorama", dir.file("sky.lib"), dir.path().string()});
  ASSERT_EQ(cli.status, 0) << cli.err;
  const auto written = readFile(dir.file("sky.tga"));
  ASSERT_EQ(written.size(), original.size());
  EXPECT_EQ(std::vector<std::uint8_t>(written.begin(), written.begin() + 18),
            std::vector<std::uint8_t>(original.begin(), original.begin() + 18));
  // Measured 46.7 dB for this photograph when the encoder was written.
  EXPECT_GT(psnr(original, written, 18), 46.0);
  for (std::size_t i = 21; i < written.size(); i += 4) ASSERT_EQ(written[i], 255) << i;
}

TEST(Panorama, MembersAreSortedByExtensionAndTheLastTiledOneWins) {
  const Image first = blockImage(300, 256, 1), second = blockImage(520, 300, 2);
  const std::vector<std::uint8_t> preview = {1, 2, 3, 4, 5};  // written as it is, whatever it holds
  ScratchDir dir;
  RecordingHost host;
  createPanorama(host,
                 archiveOf({{"dusk sky.btc", makeSkyPanoramaStream(blockImage(4800, 320, 3))},
                            {"Sky.btc", makeTiledPanoramaStream(first)},  // capital S: not a sky
                            {"preview.prv", preview},
                            {"course.pan", makeTiledPanoramaStream(second)}}),
                 dir.prefix());
  EXPECT_EQ(readFile(dir.file("dusk sky.tga")), tgaOf(blockImage(4800, 320, 3)));
  EXPECT_EQ(readFile(dir.file("PanoramaPreview.tga")), preview);
  EXPECT_EQ(readFile(dir.file("Panorama.tga")), tgaOf(second));

  // A member name without '.' ends the call with the string error.
  try {
    createPanorama(host, archiveOf({{"panorama", makeTiledPanoramaStream(first)}}), dir.prefix());
    FAIL() << "no error";
  } catch (const Error& e) {
    EXPECT_EQ(std::string(e.what()).rfind("invalid string position", 0), 0u) << e.what();
  }
}

TEST(Panorama, TiledLayoutBandsLastTileWidthAndEmptyTiles) {
  // Width 5000 over 20 tiles: each band's last tile gives 5000 - 19 x 256 = 136 columns.
  // Height 300: rows 256-299 come from band 1.
  const Image wide = blockImage(5000, 300, 4);
  TileStore store;
  EXPECT_EQ(buildTiledPanorama(makeTiledPanoramaStream(wide), store, "wide"), tgaOf(wide));

  // All-zero tiles are 't' records of exactly 4 bytes: a zero left half, then real tiles.
  Image half = blockImage(1024, 256, 5);
  for (std::uint32_t y = 0; y < 256; ++y) std::fill_n(half.pixels.begin() + y * 4096, 2048, 0);
  const auto stream = makeTiledPanoramaStream(half);
  EXPECT_EQ(stream[20], 't');
  EXPECT_EQ(stream[24], 't');
  EXPECT_EQ(buildTiledPanorama(stream, store, "half"), tgaOf(half));

  // Every record empty: an all-zero image of the stated size.
  auto empty = tiledStream(600, 200, 3, 1);
  for (int i = 0; i < 3; ++i) empty.insert(empty.end(), {'t', 9, 9, 9});
  auto zero = tgaOf(Image{600, 200, std::vector<std::uint8_t>(600 * 200 * 4, 0)});
  EXPECT_EQ(buildTiledPanorama(empty, store, "empty"), zero);
}

TEST(Panorama, RowsFrom768OnReadBand2TilesIntoTheFollowingSlots) {
  // 256 x 1024 in four tiles down: rows 768-1023 are band 2's tile (slot 2) read past its
  // 256th row, which is slot 3, the fourth tile.
  const Image tall = blockImage(256, 1024, 6);
  auto stream = tiledStream(256, 1024, 1, 4);
  const auto tiles = makeTiledPanoramaStream(blockImage(256, 768, 6));
  stream.insert(stream.end(), tiles.begin() + 20, tiles.end());
  Image bottom{256, 256, std::vector<std::uint8_t>(tall.pixels.begin() + 768 * 1024, tall.pixels.end())};
  const auto last = makeTiledPanoramaStream(bottom);
  stream.insert(stream.end(), last.begin() + 20, last.end());
  TileStore store;
  EXPECT_EQ(buildTiledPanorama(stream, store, "tall"), tgaOf(tall));
}

TEST(Panorama, RejectsWhatWouldOverrunTheStoreTheImageOrTheData) {
  TileStore store;
  auto rejects = [&](const std::vector<std::uint8_t>& s, ErrorKind kind) {
    try {
      buildTiledPanorama(s, store, "stream");
      ADD_FAILURE() << "accepted";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), kind) << e.what();
    }
  };
  rejects(tiledStream(256 * 95, 1, 95, 1), ErrorKind::Unsupported);  // 95 tiles
  rejects(tiledStream(7201, 768, 29, 3), ErrorKind::Unsupported);    // 5,530,368 pixels
  rejects(tiledStream(256, 10, 0, 1), ErrorKind::Corrupt);           // no tile across
  rejects(tiledStream(300, 10, 3, 1), ErrorKind::Corrupt);           // last tile of -212 columns
  rejects(tiledStream(7936, 513, 32, 1), ErrorKind::Unsupported);    // band 2 needs slots up to 95
  rejects(tiledStream(256, 256, 1, 1), ErrorKind::Truncated);        // no record

  // Every cut of a valid stream is reported as truncated.
  const auto good = makeTiledPanoramaStream(blockImage(300, 260, 7));
  ASSERT_NO_THROW(buildTiledPanorama(good, store, "good"));
  for (std::size_t n = 0; n < good.size(); n += 1 + n / 8) {
    const std::vector<std::uint8_t> cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n));
    rejects(cut, ErrorKind::Truncated);
  }

  auto sky = makeSkyPanoramaStream(blockImage(4800, 320));
  putU32(sky, 12, 18);
  EXPECT_THROW(buildSkyPanorama(sky, store, "sky"), Error);
  putU32(sky, 12, 19);
  sky.resize(sky.size() - 1);
  EXPECT_THROW(buildSkyPanorama(sky, store, "sky"), Error);

  // Nothing is written for a rejected archive member.
  ScratchDir dir;
  RecordingHost host;
  EXPECT_THROW(createPanorama(host, archiveOf({{"sky.btc", sky}}), dir.prefix()), Error);
  EXPECT_THROW(createPanorama(host, archiveOf({{"x.btc", tiledStream(256 * 95, 1, 95, 1)}}), dir.prefix()), Error);
  EXPECT_THROW(createPanorama(host, archiveOf({{"a/sky.btc", makeSkyPanoramaStream(blockImage(4800, 320))}}),
                              dir.prefix()),
               Error);
  // A member that declares more than deflate could give.
  auto archive = archiveOf({{"p.prv", {1, 2, 3}}});
  putU32(archive, getU32(archive, 12) + 44, 0x7FFFFFFF);
  EXPECT_THROW(createPanorama(host, archive, dir.prefix()), Error);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(Panorama, MemberThatDoesNotInflateIsUsedAsZlibLeftIt) {
  auto archive = archiveOf({{"p.prv", std::vector<std::uint8_t>(100, 7)}});
  archive[16 + 3] ^= 0xFF;  // damage the deflate data
  ScratchDir dir;
  RecordingHost host;
  createPanorama(host, archive, dir.prefix());
  EXPECT_EQ(readFile(dir.file("PanoramaPreview.tga")).size(), 100u);
}

TEST(Panorama, ProgramAndLibraryWriteTheSameFiles) {
  const auto archive = archiveOf({{"sky.btc", makeSkyPanoramaStream(blockImage(4800, 320, 8))},
                                  {"Panorama.btc", makeTiledPanoramaStream(blockImage(700, 500, 9))}});
  auto stream = makeTiledPanoramaStream(blockImage(900, 600, 10));
  ScratchDir cliDir, libDir;
  writeFile(cliDir.file("course.lib"), archive);
  writeFile(cliDir.file("raw.pan"), stream);
  ASSERT_EQ(runCli({"panorama", cliDir.file("course.lib"), cliDir.prefix()}).status, 0);
  const auto cliSky = readFile(cliDir.file("sky.tga")), cliPanorama = readFile(cliDir.file("Panorama.tga"));
  auto raw = runCli({"raw-panorama", cliDir.file("raw.pan"), cliDir.path().string()});
  ASSERT_EQ(raw.status, 0) << raw.err;

  void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  using Export = void (*)(const void*, int, const char*);
  auto create = reinterpret_cast<Export>(dlsym(lib, "CreatePanorama"));
  auto createRaw = reinterpret_cast<Export>(dlsym(lib, "CreateUncompressedPanorama"));
  ASSERT_NE(create, nullptr);
  ASSERT_NE(createRaw, nullptr);
  // Exactly sized blocks: the exports find the ends from the data's own fields.
  std::vector<std::uint8_t> exactArchive(archive), exactStream(stream);
  create(exactArchive.data(), 12345, libDir.prefix().c_str());
  EXPECT_EQ(readFile(libDir.file("sky.tga")), cliSky);
  EXPECT_EQ(readFile(libDir.file("Panorama.tga")), cliPanorama);
  createRaw(exactStream.data(), 0, libDir.prefix().c_str());
  dlclose(lib);
  EXPECT_EQ(readFile(libDir.file("Panorama.tga")), readFile(cliDir.file("Panorama.tga")));
  EXPECT_EQ(readFile(cliDir.file("Panorama.tga")), tgaOf(blockImage(900, 600, 10)));
  EXPECT_EQ(cliSky, tgaOf(blockImage(4800, 320, 8)));
}
