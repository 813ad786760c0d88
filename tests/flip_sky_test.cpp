#include "tools/flip_sky.h"

#include <gtest/gtest.h>

#include "tools/messages.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

struct FlipFixture : ::testing::Test {
  ScratchDir dir;
  RecordingHost host;
  void SetUp() override { host.executable = dir.file("frontend.exe"); }
  std::string skies() const { return dir.prefix() + "skies/"; }
};

std::vector<std::uint8_t> row(const std::vector<std::uint8_t>& tga, int width, int r) {
  auto begin = tga.begin() + 18 + static_cast<std::ptrdiff_t>(r) * width * 4;
  return {begin, begin + width * 4};
}

}  // namespace

TEST_F(FlipFixture, WorkedResultReversesTheRowsAndSetsTheDescriptor) {
  auto input = makeTga(4800, 320, 32, 0x00, patternPixels(4800, 320));
  writeFile(dir.file("dusk.tga"), input);

  auto written = flipTgaFile(host, dir.file("dusk.tga"));

  const std::string expectedPath = skies() + "/dusk.prvtga";  // two separators, as the front end expects
  ASSERT_TRUE(written);
  EXPECT_EQ(*written, expectedPath);
  ASSERT_EQ(host.boxes.size(), 1u);
  EXPECT_EQ(host.boxes[0], (RecordingHost::Box{messages::kNewTgaCaption, expectedPath}));
  EXPECT_EQ(host.createdFolders, std::vector<std::string>{skies()});

  auto output = readFile(expectedPath);
  ASSERT_EQ(output.size(), 6144018u);
  for (int i = 0; i < 17; ++i) EXPECT_EQ(output[i], input[i]) << "header byte " << i;
  EXPECT_EQ(output[17], 0x20);
  for (int k : {0, 1, 160, 318, 319}) EXPECT_EQ(row(output, 4800, k), row(input, 4800, 319 - k)) << "row " << k;

  // The result is in the game's layout now: a second run leaves it alone.
  host.boxes.clear();
  EXPECT_FALSE(flipTgaFile(host, expectedPath));
  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{messages::kValidTgaCaption, messages::kValidTgaText}}));
}

TEST_F(FlipFixture, SystemLayoutGivesOnlyTheValidBox) {
  writeFile(dir.file("sky.tga"), makeTga(8, 320, 32, 0x20, patternPixels(8, 320)));
  EXPECT_FALSE(flipTgaFile(host, dir.file("sky.tga")));
  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{messages::kValidTgaCaption, messages::kValidTgaText}}));
  EXPECT_TRUE(host.createdFolders.empty());
  EXPECT_FALSE(fileExists(skies()));
}

TEST_F(FlipFixture, NameRulesAndHeightAreTheGameOnes) {
  // Upper-case extension is kept; height 100 still gives 320 rows; an existing folder is reused.
  std::filesystem::create_directory(skies());
  auto input = makeTga(4, 100, 32, 0x08, patternPixels(4, 320));
  writeFile(dir.file("DUSK.TGA"), input);
  auto written = flipTgaFile(host, dir.file("DUSK.TGA"));
  ASSERT_TRUE(written);
  EXPECT_EQ(*written, skies() + "/DUSK.TGA.prvtga");
  EXPECT_TRUE(host.createdFolders.empty());
  auto output = readFile(*written);
  EXPECT_EQ(output.size(), 18u + 320 * 16);
  EXPECT_EQ(output[14], 100);  // the height field is carried through unchanged
  EXPECT_EQ(row(output, 4, 0), row(input, 4, 319));

  // Only the last ".tga" is cut: a.tga.tga gives a.tga.prvtga.
  writeFile(dir.file("a.tga.tga"), input);
  EXPECT_EQ(*flipTgaFile(host, dir.file("a.tga.tga")), skies() + "/a.tga.prvtga");
}

TEST_F(FlipFixture, RealBottomFirstSkyBecomesTheTopFirstOne) {
  auto bottom = loadData("sky/sky_4800x320_bottom.tga.gz");
  auto top = loadData("sky/sky_4800x320_top.tga.gz");
  writeFile(dir.file("kloppenheim.tga"), bottom);
  auto written = flipTgaFile(host, dir.file("kloppenheim.tga"));
  ASSERT_TRUE(written);
  EXPECT_EQ(readFile(*written), top);
}

TEST_F(FlipFixture, UnusableInputsAreClearErrorsAndWriteNothing) {
  struct Case {
    const char* what;
    std::vector<std::uint8_t> bytes;
  };
  auto wide = makeTga(5001, 320, 32, 0, {});
  auto negative = makeTga(0x8000, 320, 32, 0, {});
  auto shortRows = makeTga(4, 320, 32, 0, std::vector<std::uint8_t>(4 * 4 * 320 - 1));
  std::vector<Case> cases = {{"header only", {0, 0, 2}}, {"wide", wide}, {"negative", negative}, {"short", shortRows}};
  for (const auto& c : cases) {
    writeFile(dir.file("bad.tga"), c.bytes);
    EXPECT_THROW(flipTgaFile(host, dir.file("bad.tga")), Error) << c.what;
  }
  EXPECT_TRUE(host.boxes.empty());
  EXPECT_FALSE(fileExists(skies()));
  // Width 5000 is the largest the game handles.
  writeFile(dir.file("max.tga"), makeTga(5000, 320, 32, 0, std::vector<std::uint8_t>(5000 * 4 * 320)));
  EXPECT_TRUE(flipTgaFile(host, dir.file("max.tga")));
}

TEST_F(FlipFixture, MissingInputAndPathWithoutSeparatorAreErrors) {
  try {
    flipTgaFile(host, dir.file("absent.tga"));
    FAIL();
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::Io);
    EXPECT_NE(std::string(e.what()).find("absent.tga"), std::string::npos);
  }
  // A relative name without any separator: the folder is made first, then the name fails.
  auto cwd = std::filesystem::current_path();
  writeFile(dir.file("plain.tga"), makeTga(4, 320, 32, 0, patternPixels(4, 320)));
  std::filesystem::current_path(dir.path());
  try {
    flipTgaFile(host, "plain.tga");
    ADD_FAILURE();
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::Argument);
    EXPECT_NE(std::string(e.what()).find("invalid string position"), std::string::npos);
  }
  std::filesystem::current_path(cwd);
  EXPECT_EQ(host.createdFolders, std::vector<std::string>{skies()});
  EXPECT_TRUE(host.boxes.empty());
  EXPECT_TRUE(std::filesystem::is_empty(skies()));
}
