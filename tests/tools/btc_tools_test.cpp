#include <gtest/gtest.h>

#include "archive/course_archive.h"
#include "archive/zlib_member.h"
#include "support/sha256.h"
#include "support/test_support.h"
#include "tools/btc_to_tga.h"
#include "tools/btc_writers.h"
#include "tools/messages.h"
#include "tools/panorama.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> tiledOfBlocks(std::uint32_t w, std::uint32_t h, int seed) { return makeTiledPanoramaStream(Image{w, h, blockPixels(w, h, seed)}); }

std::vector<std::uint8_t> archiveOf(const std::vector<std::pair<std::string, std::vector<std::uint8_t>>>& members) {
  CourseArchiveWriter writer;
  for (const auto& [name, data] : members)
    writer.addMember(name, compressMember(data), static_cast<std::uint32_t>(data.size()));
  return std::move(writer).finish();
}

}  // namespace

TEST(BtcTools, BtcToTgaAndBack) {
  ScratchDir dir;
  RecordingHost host;
  auto solid = solidBtcFile(8, 1, {1, 2, 3, 4});
  btcToTga(host, solid, dir.file("solid.tga"));
  EXPECT_EQ(sha256Hex(readFile(dir.file("solid.tga"))), "19cadac5454ba413b40a27cc93dc1e37bfe5cb76d77504a562c47aed13240b72");
  putU32(solid, 4, 0xFFFFFFFF);  // 16 GiB of pixels is the caller's error, not a box
  EXPECT_THROW(btcToTga(host, solid, dir.file("huge.tga")), Error);
  EXPECT_TRUE(host.boxes.empty());

  writeFile(dir.file("hull.tga"), loadData("textures/ship_hull_wood_256x256_rgb24.tga"));
  tgaToBtc(host, dir.file("hull.tga"), dir.file("hull.btc"));
  EXPECT_EQ(sha256Hex(readFile(dir.file("hull.btc"))), "1d1396ca269a82b25f1a2717532284bbb5b24af25a32b20030ae612e514d48a6");
}

TEST(BtcTools, PanoramaMembersGoByNameAndTheLastTiledOneWins) {
  ScratchDir dir;
  RecordingHost host;
  const auto sky = makeSkyPanoramaStream(Image{4800, 320, blockPixels(4800, 320, 3)});
  createPanorama(host,
                 archiveOf({{"dusk sky.btc", sky},
                            {"Sky.btc", tiledOfBlocks(300, 256, 1)},  // capital S: not a sky
                            {"preview.prv", {1, 2, 3, 4, 5}},         // written as it is, whatever it holds
                            {"course.pan", tiledOfBlocks(520, 300, 2)}}),
                 dir.prefix());
  EXPECT_EQ(readFile(dir.file("dusk sky.tga")), makeTga(4800, 320, 32, 0x20, blockPixels(4800, 320, 3)));
  EXPECT_EQ(readFile(dir.file("PanoramaPreview.tga")), bytes({1, 2, 3, 4, 5}));
  EXPECT_EQ(readFile(dir.file("Panorama.tga")), makeTga(520, 300, 32, 0x20, blockPixels(520, 300, 2)));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 3);
  EXPECT_TRUE(host.boxes.empty());

  // A rejected member writes nothing.
  auto cut = sky;
  cut.pop_back();
  ScratchDir none;
  EXPECT_THROW(createPanorama(host, archiveOf({{"sky.btc", cut}}), none.prefix()), Error);
  // A member name without an extension cannot be sorted into a kind.
  EXPECT_EQ(errorKind([&] { createPanorama(host, archiveOf({{"sky", sky}}), none.prefix()); }), ErrorKind::Argument);
  EXPECT_TRUE(std::filesystem::is_empty(none.path()));
}
