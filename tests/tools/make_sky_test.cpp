#include "tools/make_sky.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "archive/archive_members.h"
#include "base/tga.h"
#include "image/image_file.h"
#include "support/test_support.h"
#include "tools/contact_sheet_tool.h"
#include "tools/sky_file.h"

using namespace vellmark;
using namespace vellmark::test;

// The game's own pair of pictures gives sky-file's file; any other picture gives a sky file
// of the same shape with a bottom-up preview made from it.
TEST(MakeSky, TheExactPicturesGiveTheSkyFileToolsFile) {
  ScratchDir dir;
  writeFile(dir.file("dusk.tga"), loadData("sky/sky_4800x320_bottom.tga.gz"));
  writeFile(dir.file("preview.tga"), loadData("sky/sky_preview_512x35_top.tga.gz"));
  RecordingHost host;
  createSkyFile(host, dir.file("preview.tga"), dir.file("dusk.tga"), dir.prefix(), 2);
  ASSERT_TRUE(host.boxes.empty());

  SkyRequest request{dir.file("dusk.tga"), dir.file("preview.tga"), dir.file("made") + "/", "dusk", {}, 3};
  std::filesystem::create_directories(dir.file("made"));
  EXPECT_EQ(makeSky(request), dir.file("made/dusk.sky"));
  EXPECT_EQ(readFile(dir.file("made/dusk.sky")), readFile(dir.file("dusk.sky")));

  // A JPEG panorama and no preview.
  request = {dataPath("media/kloppenheim_06_1024x512_jfif_progressive420.jpg"), std::nullopt, dir.prefix(), "alps", {}, 2};
  const auto sky = readFile(makeSky(request));
  const ArchiveUnpacker unpacker(sky, false);
  ASSERT_EQ(unpacker.memberCount(), std::size_t(kSkyMembers));
  const auto preview = unpacker.member(kSkyMembers - 1);
  EXPECT_EQ(preview.name, kSkyPreviewMember);
  const TgaHeader header = readTgaHeader(preview.data, "preview");
  EXPECT_EQ(header.width, kSkyPreviewWidth);
  EXPECT_EQ(header.height, kSkyPreviewHeight);
  EXPECT_EQ(header.descriptor, 0x08);  // bottom row first, 8 bits of alpha

  request.framing.horizon = 60;  // no room for the 68 rows of a 1024-wide panorama above it
  EXPECT_THROW(makeSky(request), Error);
}

// A 2:1 panorama stitched from the real sky: the left half of the strip and its mirror image,
// which join without a seam, with the strip's top row repeated above it and its bottom row
// below. Scaled, tiled and packed, the sky's first and last columns differ no more than
// neighbouring columns do on average.
TEST(MakeSky, APanoramaGivesASkyWithoutASeam) {
  const Image strip = readTgaImage(loadData("sky/sky_4800x320_top.tga.gz"), "sky");
  std::vector<std::uint8_t> pixels;
  for (int y = 0; y < 2400; ++y) {
    const auto* from = &strip.pixels[std::size_t(std::clamp(y - 880, 0, 319)) * 4800 * 4];
    pixels.insert(pixels.end(), from, from + 2400 * 4);
    for (int x = 2399; x >= 0; --x) pixels.insert(pixels.end(), from + x * 4, from + x * 4 + 4);
  }
  ScratchDir dir;
  writeFile(dir.file("pano.tga"), makeTgaImage(4800, 2400, pixels));
  const auto sky = readFile(makeSky({dir.file("pano.tga"), std::nullopt, dir.prefix(), "pano", {}, 2}));

  const ArchiveUnpacker unpacker(sky, false);
  const auto first = unpacker.member(0), last = unpacker.member(18);  // columns 0-255 and 4608-4799 of rows 0-255
  ASSERT_EQ(first.name, "_s_k_y_1.tga");
  ASSERT_EQ(last.name, "_s_k_y_19.tga");
  auto at = [](const UnpackedMember& tile, int x, int y, int c) { return int(tile.data.data()[18 + (std::size_t(y) * 256 + x) * 4 + c]); };
  double seam = 0, neighbours = 0;
  for (int y = 0; y < 256; ++y)
    for (int c = 0; c < 3; ++c) {
      seam += std::abs(at(first, 0, y, c) - at(last, 191, y, c));
      for (int x = 0; x < 255; ++x) neighbours += std::abs(at(first, x, y, c) - at(first, x + 1, y, c)) / 255.0;
    }
  EXPECT_GT(neighbours, 0);
  EXPECT_LE(seam, neighbours);
}

TEST(ContactSheetTool, DrawsEveryPictureMemberOfTheSampleCourse) {
  ScratchDir dir;
  const std::string course = dataPath("../../samples/sample_course.arc");
  const auto archive = readFile(course);
  std::size_t pictures = 0;
  for (const auto& m : listArchive(archive, openCourseArchive(archive)))
    if (m.kind == MemberKind::Tga || m.kind == MemberKind::Btc || m.kind == MemberKind::Jpg || m.kind == MemberKind::Pan)
      ++pictures;
  const ContactSheetReport report = writeContactSheet(course, dir.file("sheet.png"), 2);
  EXPECT_EQ(report.pictures, pictures);
  EXPECT_TRUE(report.skipped.empty());
  EXPECT_EQ(report.pictures + report.otherMembers, openCourseArchive(archive).records.size());
  const Image sheet = decodeImage(readFile(dir.file("sheet.png")), "sheet");
  EXPECT_GT(sheet.width, 2 * 160u);
  EXPECT_THROW(writeContactSheet(dataPath("media/coin_u8_mono_22050.wav"), dir.file("no.png"), 1), Error);
}
