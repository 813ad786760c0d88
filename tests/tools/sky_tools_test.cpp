#include <gtest/gtest.h>

#include "support/sha256.h"
#include "support/test_support.h"
#include "tools/flip_sky.h"
#include "tools/messages.h"
#include "tools/sky_file.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Box = RecordingHost::Box;

struct SkyTools : ::testing::Test {
  ScratchDir dir;
  RecordingHost host;
  std::vector<std::uint8_t> preview = loadData("sky/sky_preview_512x35_top.tga.gz");
  std::vector<std::uint8_t> sky = loadData("sky/sky_4800x320_top.tga.gz");
  void SetUp() override {
    host.executable = dir.file("frontend.exe");
    writeFile(dir.file("preview.tga"), preview);
    writeFile(dir.file("dusk.tga"), sky);
  }
};

}  // namespace

// 95 zlib members: 94 tiles of the main sky (the 19th with 64 zero columns) and the preview.
TEST_F(SkyTools, SkyFileOfTheRealSkyAndItsRejections) {
  createSkyFile(host, dir.file("preview.tga"), dir.file("dusk.tga"), dir.path().string(), 2);
  const auto file = readFile(dir.file("dusk.sky"));
  EXPECT_EQ(sha256Hex(file), "8f6edd1d037c592d50c7d87345056bd9ed76bd5bb2f90d91e6c70cd331926a5d");
  EXPECT_EQ(buildSkyFile(preview, Bytes(sky).subspan(18), 5), file);
  EXPECT_THROW(skyTileImage(Bytes(sky).subspan(18), 95), Error);
  EXPECT_THROW(skyTileImage(Bytes(sky).subspan(19), 1), Error);

  // Sizes are checked preview first (a swapped pair never opens the sky), then the sky.
  writeFile(dir.file("small.tga"), makeTga(512, 36, 32, 0x20, {}));
  writeFile(dir.file("narrow.tga"), makeTga(4799, 320, 32, 0x20, {}));
  writeFile(dir.file("low.tga"), makeTga(4800, 319, 32, 0x20, {}));
  for (const auto& [previewName, skyName] : std::vector<std::pair<const char*, const char*>>{
           {"dusk.tga", "preview.tga"}, {"small.tga", "absent.tga"}, {"preview.tga", "narrow.tga"}, {"preview.tga", "low.tga"}})
    createSkyFile(host, dir.file(previewName), dir.file(skyName), dir.path().string(), 1);
  const Box badPreview{messages::kInvalidTgaCaption, messages::kInvalidPreviewText};
  const Box badSky{messages::kInvalidTgaCaption, messages::kInvalidMainSkyText};
  EXPECT_EQ(host.boxes, (std::vector<Box>{badPreview, badPreview, badSky, badSky}));
}

TEST_F(SkyTools, FlipOfTheRealBottomFirstSkyAndItsRejections) {
  const std::vector<std::pair<std::vector<std::uint8_t>, ErrorKind>> rejected = {
      {{0, 0, 2}, ErrorKind::Truncated},
      {makeTga(5001, 320, 32, 0, {}), ErrorKind::Unsupported},
      {makeTga(4, 320, 32, 0, std::vector<std::uint8_t>(4 * 4 * 320 - 1)), ErrorKind::Truncated},
  };
  for (const auto& [bytes, kind] : rejected) {
    writeFile(dir.file("bad.tga"), bytes);
    EXPECT_EQ(errorKind([&] { flipTgaFile(host, dir.file("bad.tga")); }), kind) << bytes.size();
  }
  EXPECT_FALSE(fileExists(dir.file("skies")));  // nothing is made before the input is checked

  writeFile(dir.file("kloppenheim.tga"), loadData("sky/sky_4800x320_bottom.tga.gz"));
  const std::string skies = dir.prefix() + "skies/";
  const auto written = flipTgaFile(host, dir.file("kloppenheim.tga"));
  ASSERT_EQ(written, skies + "/kloppenheim.prvtga");  // two separators, as the front end expects
  EXPECT_EQ(readFile(*written), sky);
  EXPECT_EQ(host.boxes, (std::vector<Box>{{messages::kNewTgaCaption, *written}}));
  EXPECT_EQ(host.createdFolders, std::vector<std::string>{skies});
  // In the game's layout now: a second run only says so.
  EXPECT_FALSE(flipTgaFile(host, *written));
  EXPECT_EQ(host.boxes.back(), (Box{messages::kValidTgaCaption, messages::kValidTgaText}));
}
