#include "image/sky_picture.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/error.h"
#include "image/contact_sheet.h"
#include "image/resample.h"

using namespace vellmark;

namespace {

Image solid(std::uint32_t w, std::uint32_t h, std::array<std::uint8_t, 4> bgra) {
  Image image{w, h, {}};
  for (std::uint32_t i = 0; i < w * h; ++i) image.pixels.insert(image.pixels.end(), bgra.begin(), bgra.end());
  return image;
}

const std::uint8_t* pixel(const Image& image, std::uint32_t x, std::uint32_t y) {
  return &image.pixels[(std::size_t{y} * image.width + x) * 4];
}

}  // namespace

TEST(SkyRegion, PanoramasGiveTheBandAboveTheHorizonOthersAreScaledWhole) {
  const struct {
    std::uint32_t w, h;
    SkyFraming framing;
    SkyRegion region;
  } cases[] = {
      {8192, 4096, {}, {true, 2048 - 546, 546}},  // 8192 x 320 / 4800 = 546.1 rows keep the angles square
      {4800, 2400, {}, {true, 1200 - 320, 320}},
      {4801, 2400, {}, {true, 1200 - 320, 320}},  // one pixel of slack
      {8192, 4096, {1800, std::nullopt}, {true, 1800 - 546, 546}},
      {8192, 4096, {std::nullopt, 100}, {true, 1948, 100}},
      {8192, 4096, {546, std::nullopt}, {true, 0, 546}},
      {4800, 320, {}, {false, 0, 320}},
      {1000, 700, {}, {false, 0, 700}},
  };
  for (const auto& c : cases) {
    const SkyRegion r = skyRegion(c.w, c.h, c.framing, 4800, 320);
    EXPECT_EQ(r.panorama, c.region.panorama) << c.w << "x" << c.h;
    EXPECT_EQ(r.top, c.region.top) << c.w << "x" << c.h;
    EXPECT_EQ(r.rows, c.region.rows) << c.w << "x" << c.h;
  }
  const struct {
    std::uint32_t w, h;
    SkyFraming framing;
  } refused[] = {
      {1000, 700, {350, std::nullopt}},  // framing only means something for a panorama
      {8192, 4096, {4097, std::nullopt}},
      {8192, 4096, {0, std::nullopt}},
      {8192, 4096, {500, std::nullopt}},  // the square band does not fit above row 500
      {8192, 4096, {std::nullopt, 0}},
  };
  for (const auto& c : refused) EXPECT_THROW(skyRegion(c.w, c.h, c.framing, 4800, 320), Error) << c.framing.horizon.value_or(0);
}

// What the filter promises: averages in linear light (black and white make sRGB 188, not
// 128), colour weighted by alpha (a transparent pixel gives none of its colour), and a
// panorama wrapped across its seam (a stripe at its left edge reaches the sky's right edge).
TEST(Resample, LinearLightAlphaWeightedAndWrappedAcrossTheSeam) {
  Image blackWhite = solid(2, 1, {0, 0, 0, 255});
  std::fill(blackWhite.pixels.begin() + 4, blackWhite.pixels.begin() + 7, 255);
  const Image grey = resampleImage(blackWhite, 1, 1, {});
  EXPECT_NEAR(grey.pixels[0], 188, 2);

  Image redAndClear = solid(2, 1, {0, 0, 255, 255});
  std::copy_n(std::array<std::uint8_t, 4>{0, 255, 0, 0}.data(), 4, redAndClear.pixels.begin() + 4);
  const Image mixed = resampleImage(redAndClear, 1, 1, {});
  EXPECT_EQ(mixed.pixels[1], 0);  // no green from the transparent pixel
  EXPECT_NEAR(mixed.pixels[2], 255, 1);
  EXPECT_NEAR(mixed.pixels[3], 128, 2);

  Image panorama = solid(960, 480, {200, 120, 40, 255});
  for (std::uint32_t y = 0; y < 480; ++y) panorama.pixels[(std::size_t{y} * 960) * 4 + 2] = 255;
  const Image sky = makeSkyPicture(panorama, {}, 4800, 320);
  ASSERT_EQ(sky.width, 4800u);
  ASSERT_EQ(sky.height, 320u);
  EXPECT_GT(pixel(sky, 4799, 160)[2], 60);  // the stripe's red reaches round the seam
  EXPECT_GT(pixel(sky, 0, 160)[2], 60);
  EXPECT_NEAR(pixel(sky, 2400, 160)[2], 40, 1);
  const Image preview = makeSkyPreview(sky, 512, 35);
  EXPECT_EQ(preview.pixels.size(), 512u * 35 * 4);

  const Image exact = solid(4800, 320, {1, 2, 3, 4});
  EXPECT_EQ(makeSkyPicture(exact, {}, 4800, 320).pixels, exact.pixels);  // taken as it is, not filtered
  EXPECT_THROW(resampleRows(exact, 300, 21, 10, 10, {}), Error);
  EXPECT_THROW(resampleImage(Image{4, 4, {}}, 2, 2, {}), Error);
}

TEST(ContactSheet, ThumbnailsFitTheirBoxesAndLabelsArePrintable) {
  const Image strip = makeThumbnail(solid(4800, 320, {0, 0, 0, 255}));
  EXPECT_EQ(strip.width, kSheetCell);
  EXPECT_EQ(strip.height, 11u);
  EXPECT_EQ(makeThumbnail(solid(3, 5000, {0, 0, 0, 255})).width, 1u);
  EXPECT_EQ(makeThumbnail(solid(20, 10, {0, 0, 0, 255})).width, 20u);  // small pictures are not enlarged

  EXPECT_EQ(sheetLabel("sky\x1b[2J.tga", 160), "sky?[2J.tga");
  const std::string cut = sheetLabel(std::string(100, 'w'), 160);
  EXPECT_EQ(cut.substr(cut.size() - 3), "...");
  EXPECT_LT(cut.size(), 40u);

  std::vector<SheetEntry> entries;
  for (int i = 0; i < 5; ++i) entries.push_back({"m" + std::to_string(i), solid(16, 8, {0, 0, 255, 0})});
  const Image sheet = makeContactSheet(entries);
  EXPECT_EQ(sheet.width, kSheetGap + 3 * (kSheetCell + kSheetGap));  // 5 entries: 3 across, 2 down
  EXPECT_EQ(sheet.height, kSheetGap + 2 * (kSheetCell + kSheetLabelRows + kSheetGap));
  // A transparent thumbnail shows the checkerboard under it, opaque.
  const std::uint8_t* centre = pixel(sheet, kSheetGap + kSheetCell / 2, kSheetGap + kSheetCell / 2);
  EXPECT_EQ(centre[3], 255);
  EXPECT_TRUE(centre[0] == 200 || centre[0] == 150);
}
