#include "base/tga.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

TEST(Tga, WrittenHeaderIsTheSystemLayout) {
  std::vector<std::uint8_t> pixels(256 * 256 * 4, 7);
  auto image = makeTgaImage(256, 256, pixels);
  ASSERT_EQ(image.size(), 262162u);
  const std::vector<std::uint8_t> expected = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0x20, 0x20};
  EXPECT_EQ(std::vector<std::uint8_t>(image.begin(), image.begin() + 18), expected);
  EXPECT_EQ(image[18], 7);

  auto sky = makeTgaHeader(4800, 320);
  EXPECT_EQ(sky[12], 0xC0);
  EXPECT_EQ(sky[13], 0x12);
  EXPECT_EQ(sky[14], 0x40);
  EXPECT_EQ(sky[15], 0x01);
  EXPECT_EQ(makeTgaHeader(1, 1, kTgaDescriptorTopFirstAlpha8)[17], 0x28);
}

TEST(Tga, ReaderTakesPixelsFromByte18WhateverTheIdLength) {
  auto file = makeTga(2, 1, 32, 0x20, {1, 2, 3, 4, 5, 6, 7, 8});
  file[0] = 3;  // an ID field the game ignores
  auto rows = tgaPixelRows(file, 8, 1, "image");
  EXPECT_EQ(rows[0], 1);
  EXPECT_EQ(rows[7], 8);
}

TEST(Tga, OnlyTwentyTwentyIsTheSystemLayout) {
  EXPECT_EQ(readTgaHeader(makeTga(1, 1, 32, 0x20, {0, 0, 0, 0}), "a").depthAndDescriptor(), kTgaSystemLayout);
  EXPECT_NE(readTgaHeader(makeTga(1, 1, 32, 0x28, {0, 0, 0, 0}), "a").depthAndDescriptor(), kTgaSystemLayout);
  EXPECT_NE(readTgaHeader(makeTga(1, 1, 32, 0x00, {0, 0, 0, 0}), "a").depthAndDescriptor(), kTgaSystemLayout);
}

TEST(Tga, ShortInputIsRejected) {
  auto file = makeTga(4, 4, 32, 0x20, std::vector<std::uint8_t>(64, 1));
  for (std::size_t n = 0; n < 18; ++n) {
    std::vector<std::uint8_t> prefix(file.begin(), file.begin() + n);
    EXPECT_THROW(readTgaHeader(prefix, "prefix"), Error) << n;
  }
  std::vector<std::uint8_t> shortRows(file.begin(), file.end() - 1);
  EXPECT_THROW(tgaPixelRows(shortRows, 16, 4, "short"), Error);
  EXPECT_NO_THROW(tgaPixelRows(file, 16, 4, "full"));
  EXPECT_THROW(makeTgaImage(4, 4, std::vector<std::uint8_t>(63)), Error);
}

TEST(Tga, RealImageHeadersReadAsStored) {
  auto preview = loadData("sky/sky_preview_512x35_top.tga.gz");
  auto h = readTgaHeader(preview, "preview");
  EXPECT_EQ(h.width, 512);
  EXPECT_EQ(h.height, 35);
  EXPECT_EQ(h.depthAndDescriptor(), kTgaSystemLayout);
  auto bark = readTgaHeader(loadData("textures/tree_bark_320x240_rgb24_bottomup.tga"), "bark");
  EXPECT_EQ(bark.width, 320);
  EXPECT_EQ(bark.pixelDepth, 24);
  EXPECT_EQ(bark.descriptor, 0x00);
}
