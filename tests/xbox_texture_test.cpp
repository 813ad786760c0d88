// The Xbox 360 texture layer's addressing: the tiled address function, the untiling copy,
// the header fields, and the layout of levels, faces and packed mip tails.
#include <gtest/gtest.h>

#include <cstring>

#include "xbox/xbox_texture.h"
#include "xbox/xbox_tiling.h"
#include "base/error.h"

using namespace vellmark;
using namespace vellmark::xbox;

namespace {

struct OffsetCase {
  std::uint32_t bytesPerBlock, pitch, x, y, offset;
};

using Position = std::pair<std::uint32_t, std::uint32_t>;
Position tailPosition(const TextureLayout& t, std::uint32_t level) {
  const BlockPosition p = mipTailLevelPosition(t, level);
  return {p.x, p.y};
}

std::uint32_t log2Of(std::uint32_t bytes) { return bytes == 1 ? 0 : bytes == 2 ? 1 : bytes == 4 ? 2 : bytes == 8 ? 3 : 4; }

}  // namespace

TEST(XboxTiling, OffsetsMatchTheKnownVectors) {
  const OffsetCase cases[] = {
      {4, 32, 0, 0, 0},      {4, 32, 1, 0, 4},       {4, 32, 3, 0, 12},      {4, 32, 4, 0, 32},
      {4, 32, 7, 0, 44},     {4, 32, 8, 0, 64},      {4, 32, 16, 0, 128},    {4, 32, 24, 0, 192},
      {4, 32, 0, 1, 16},     {4, 32, 1, 1, 20},      {4, 32, 0, 2, 256},     {4, 32, 0, 3, 272},
      {4, 32, 0, 4, 512},    {4, 32, 0, 8, 1152},    {4, 32, 0, 16, 2048},   {4, 32, 5, 3, 308},
      {4, 32, 10, 20, 2632}, {4, 32, 31, 31, 3964},  {4, 64, 32, 0, 4096},   {4, 64, 0, 32, 8192},
      {4, 64, 33, 1, 4116},  {4, 64, 63, 63, 16252}, {8, 32, 0, 0, 0},       {8, 32, 1, 0, 8},
      {8, 32, 2, 0, 32},     {8, 32, 8, 0, 64},      {8, 32, 0, 1, 16},      {8, 32, 0, 2, 512},
      {8, 32, 3, 5, 1080},   {8, 32, 31, 31, 8056},  {8, 64, 32, 0, 8192},   {8, 64, 0, 32, 16384},
      {16, 32, 0, 0, 0},     {16, 32, 1, 0, 32},     {16, 32, 0, 1, 16},     {16, 32, 0, 2, 1024},
      {16, 32, 8, 0, 64},    {16, 32, 31, 31, 16240}, {1, 32, 0, 0, 0},      {1, 32, 1, 0, 1},
      {1, 32, 8, 0, 64},     {1, 32, 16, 0, 128},    {1, 32, 0, 1, 16},      {1, 32, 0, 2, 8},
      {1, 32, 0, 16, 2048},  {1, 32, 31, 31, 2431},  {1, 128, 32, 0, 512},   {1, 128, 64, 0, 1024},
      {1, 128, 0, 32, 4096}, {2, 32, 0, 0, 0},       {2, 32, 1, 0, 2},       {2, 32, 8, 0, 64},
      {2, 32, 0, 1, 16},     {2, 32, 0, 2, 32},      {2, 32, 31, 31, 2942},
  };
  for (const auto& c : cases)
    EXPECT_EQ(tiledOffset(c.x, c.y, c.pitch, log2Of(c.bytesPerBlock)), c.offset)
        << c.bytesPerBlock << " bytes, pitch " << c.pitch << ", (" << c.x << "," << c.y << ")";
}

TEST(XboxTiling, UntilingASurfaceNumberedByElementGivesTheKnownFirstBlocks) {
  // Element k of a tiled 32 x 32 surface holds k; the first sixteen land on known texels.
  const std::pair<std::uint32_t, std::array<std::pair<int, int>, 16>> cases[] = {
      {2, {{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 1}, {1, 1}, {2, 1}, {3, 1},
            {4, 0}, {5, 0}, {6, 0}, {7, 0}, {4, 1}, {5, 1}, {6, 1}, {7, 1}}}},
      {3, {{{0, 0}, {1, 0}, {0, 1}, {1, 1}, {2, 0}, {3, 0}, {2, 1}, {3, 1},
            {8, 0}, {9, 0}, {8, 1}, {9, 1}, {10, 0}, {11, 0}, {10, 1}, {11, 1}}}},
  };
  for (const auto& [log2, first16] : cases) {
    const std::size_t bytes = std::size_t{1} << log2;
    std::vector<std::uint8_t> tiled(32 * 32 * bytes), linear(32 * 32 * bytes);
    for (std::uint32_t k = 0; k < 32 * 32; ++k) storeU32(&tiled[k * bytes], k);
    untile(tiled, {32, log2, 0, 0, 32, 32}, linear, 32 * bytes);
    for (std::uint32_t k = 0; k < 16; ++k)
      EXPECT_EQ(loadU32(&linear[(first16[k].second * 32 + first16[k].first) * bytes]), k) << bytes << " bytes, " << k;
  }
}

TEST(XboxTiling, UntilingFollowsTheAddressFunctionForEveryBlockSizeAndOffset) {
  for (std::uint32_t log2 = 0; log2 <= 4; ++log2) {
    const TiledRect rect{96, log2, 3, 5, 90, 70};
    // Small blocks share pages between tiles, so a surface ends on a whole page.
    ASSERT_EQ(tiledExtent(rect), ((96u * 96 << log2) + 4095) / 4096 * 4096);
    std::vector<std::uint8_t> tiled(tiledExtent(rect));
    for (std::size_t i = 0; i < tiled.size(); ++i) tiled[i] = static_cast<std::uint8_t>(i * 7 + (i >> 8) * 13 + (i >> 12));
    const std::size_t bytes = std::size_t{1} << log2;
    std::vector<std::uint8_t> linear(90 * 70 * bytes);
    untile(tiled, rect, linear, 90 * bytes);
    for (std::uint32_t y = 0; y < 70; ++y)
      for (std::uint32_t x = 0; x < 90; ++x)
        ASSERT_EQ(std::memcmp(&linear[(y * 90 + x) * bytes], &tiled[tiledOffset(x + 3, y + 5, 96, log2)], bytes), 0)
            << log2 << " " << x << "," << y;
  }
}

TEST(XboxTiling, RejectsRectanglesThatLeaveTheSurface) {
  std::vector<std::uint8_t> src(4095), dst(32 * 32 * 4);
  EXPECT_THROW(untile(src, {32, 2, 0, 0, 32, 32}, dst, 128), Error);
  std::vector<std::uint8_t> exact(32 * 32 * 4);
  EXPECT_NO_THROW(untile(exact, {32, 2, 0, 0, 32, 32}, dst, 128));
  EXPECT_THROW(untile(exact, {32, 2, 0, 1, 32, 32}, dst, 128), Error);  // one row past the tile
  EXPECT_THROW(untile(exact, {32, 2, 1, 0, 32, 1}, dst, 128), Error);   // wider than the pitch
  EXPECT_THROW(untile(exact, {48, 2, 0, 0, 8, 8}, dst, 32), Error);     // pitch not a tile multiple
  EXPECT_THROW(untile(exact, {32, 2, 0, 0, 32, 32}, std::span(dst).first(100), 128), Error);
}

TEST(XboxTextureHeader, RebuildsTheFormatAndFieldsOfADxt1FetchConstant) {
  TextureHeader h;
  const std::uint32_t fetch[6] = {0x80800002, 0x00000052, 0x0007E03F, 0x00000D10, 0x00000180, 0x00002A00};
  for (int i = 0; i < 6; ++i) h.fetch(i) = fetch[i];
  EXPECT_EQ(h.format(), 0x1A200152u);
  EXPECT_TRUE(h.tiled());
  EXPECT_EQ(h.pitchField(), 2u);
  EXPECT_EQ(h.width(), 64u);
  EXPECT_EQ(h.height(), 64u);
  EXPECT_EQ(h.levelCount(), 7u);
  EXPECT_TRUE(h.packedMips());
  EXPECT_FALSE(h.cube());
  EXPECT_EQ(h.mipAddress(), 0x2000u);
  EXPECT_EQ(h.layoutFlags(), 0u);
  h.fetch(5) = 0x6E00;
  EXPECT_TRUE(h.cube());
  h.fetch(5) = 0x2200;  // not packed
  h.fetch(3) |= 0x80000000;
  EXPECT_EQ(h.layoutFlags(), kLayoutNonPacked | kLayoutBorder);
}

TEST(XboxTextureLayout, MipTailBaseIsTheFirstLevelWithASideOfSixteenOrLess) {
  // Width, height, border, tail base: the smaller side decides, rounded up, without the border.
  const std::uint32_t cases[][4] = {{64, 64, 0, 2}, {16, 16, 0, 0}, {256, 64, 0, 2}, {128, 128, 0, 3}, {80, 260, 0, 3},
                                    {17, 1024, 0, 1}, {1, 1, 0, 0}, {19, 19, 0, 1}, {19, 19, 1, 2}};
  for (const auto& c : cases) EXPECT_EQ(mipTailBaseLevel(c[0], c[1], c[2] != 0), c[3]) << c[0] << "x" << c[1];
}

TEST(XboxTextureLayout, Dxt1Of64x64WithSevenPackedLevels) {
  const TextureLayout t = makeTextureLayout(64, 64, 7, 1, 0x1A200152, 2, 0, 0x2000, 0);
  EXPECT_EQ(t.tailBase, 2u);
  const LevelSlot top = levelSlot(t, 0);
  EXPECT_EQ(top.pitchBlocks, 32u);  // pitch field 2 = 64 texels = 16 blocks, padded to a tile
  EXPECT_EQ(top.rowPitch, 256u);
  EXPECT_EQ(top.size, 8192u);
  EXPECT_EQ(levelSlot(t, 1).size, 8192u);
  EXPECT_EQ(faceLevelOffset(t, 0, 1), 0u);
  const std::uint32_t tiledOffsets[] = {0, 0, 256, 32, 8, 512, 16};
  const std::uint32_t linearOffsets[] = {0, 0, 32, 16, 8, 512, 256};
  const Position positions[] = {{0, 0}, {0, 0}, {4, 0}, {2, 0}, {1, 0}, {0, 2}, {0, 1}};
  for (std::uint32_t level = 2; level < 7; ++level) {
    EXPECT_EQ(mipTailLevelOffset(64, 64, 1, level, 18, true, false), tiledOffsets[level]) << level;
    EXPECT_EQ(mipTailLevelOffset(64, 64, 1, level, 18, false, false), linearOffsets[level]) << level;
    EXPECT_EQ(tailPosition(t, level), positions[level]) << level;
    // Every tail level sits in the slot after level 1.
    EXPECT_EQ(faceLevelOffset(t, 0, level), 8192u + tiledOffsets[level]) << level;
  }
  EXPECT_EQ(mipTailSlot(t).size, 8192u);
  EXPECT_EQ(mipTailLevelOffset(64, 64, 1, 1, 18, true, false), 0u);  // before the tail
}

TEST(XboxTextureLayout, A8R8G8B8Of16x16LiesWhollyInTheTail) {
  const TextureLayout t = makeTextureLayout(16, 16, 5, 1, 0x18280186, 1, 0, 0x1000, 0);
  EXPECT_EQ(t.tailBase, 0u);
  const LevelSlot slot = mipTailSlot(t);
  EXPECT_EQ(slot.rowPitch, 128u);
  EXPECT_EQ(slot.size, 4096u);
  const std::uint32_t tiled[] = {128, 64, 32, 1152, 512};
  // Linear rows are 256 bytes apart (32 texels of 4 bytes, aligned to 256).
  const std::uint32_t linear[] = {64, 32, 16, 2048, 1024};
  for (std::uint32_t level = 0; level < 5; ++level) {
    EXPECT_EQ(mipTailLevelOffset(16, 16, 1, level, 6, true, false), tiled[level]) << level;
    EXPECT_EQ(mipTailLevelOffset(16, 16, 1, level, 6, false, false), linear[level]) << level;
  }
  EXPECT_EQ(tailPosition(t, 0), Position(16, 0));
  EXPECT_EQ(faceLevelOffset(t, 0, 0), 128u);  // points at level 0 inside the tail
  // A single level is never packed, whatever the flag.
  const TextureLayout single = makeTextureLayout(16, 16, 1, 1, 0x18280186, 1, 0, 0, 0);
  EXPECT_FALSE(single.inTail(0));
  EXPECT_EQ(faceLevelOffset(single, 0, 0), 0u);
}

TEST(XboxTextureLayout, Dxt5Of256x64IsWideSoItsTailRunsDownThenAcross) {
  const TextureLayout t = makeTextureLayout(256, 64, 9, 1, 0x1A200154, 8, 0, 0x8000, 0);
  EXPECT_EQ(t.tailBase, 2u);
  const Position positions[] = {{0, 4}, {0, 2}, {0, 1}, {8, 0}, {4, 0}, {2, 0}, {1, 0}};
  for (std::uint32_t level = 2; level < 9; ++level) EXPECT_EQ(tailPosition(t, level), positions[level - 2]) << level;
  EXPECT_EQ(levelSlot(t, 0).rowPitch, 1024u);
  EXPECT_EQ(levelSlot(t, 0).size, 32768u);
  EXPECT_EQ(levelSlot(t, 1).rowPitch, 512u);
  EXPECT_EQ(levelSlot(t, 1).size, 16384u);
  EXPECT_EQ(mipTailSlot(t).rowPitch, 512u);
  EXPECT_EQ(mipTailSlot(t).size, 16384u);
  EXPECT_EQ(faceLevelOffset(t, 0, 2), 16384u + tiledOffset(0, 4, 32, 4));
}

TEST(XboxTextureLayout, CubeOf128Dxt1KeepsFacesInsideEachLevel) {
  const TextureLayout t = makeTextureLayout(128, 128, 8, 6, 0x1A200152, 4, 0, 0xC000, 0);
  EXPECT_EQ(t.tailBase, 3u);
  for (std::uint32_t f = 0; f < 6; ++f) {
    EXPECT_EQ(faceLevelOffset(t, f, 0), f * 8192u) << f;
    EXPECT_EQ(faceLevelOffset(t, f, 1), f * 8192u) << f;
    EXPECT_EQ(faceLevelOffset(t, f, 2), 49152u + f * 8192u) << f;
    EXPECT_EQ(faceLevelOffset(t, f, 3) - mipTailLevelOffset(128, 128, 1, 3, 18, true, false), 98304u + f * 8192u) << f;
  }
  // The mip chain ends with the six tails: 147456 bytes.
  EXPECT_EQ(faceLevelOffset(t, 5, 3) - mipTailLevelOffset(128, 128, 1, 3, 18, true, false) + mipTailSlot(t).size,
            147456u);
}

TEST(XboxTextureLayout, NonPowerOfTwoMipsUseHalvingsOfTheNextPowerOfTwo) {
  const TextureLayout t = makeTextureLayout(80, 260, 4, 1, 0x18280186, 3, 0, 0, kLayoutNonPacked);
  EXPECT_EQ(levelSlot(t, 0).rowPitch, 96u * 4);          // the pitch field, padded to a tile
  EXPECT_EQ(levelSlot(t, 0).rows, 288u);                 // 260 rows padded to a tile
  EXPECT_EQ(levelSlot(t, 1).width, 40u);
  EXPECT_EQ(levelSlot(t, 1).rowPitch, 64u * 4);          // 128 / 2
  EXPECT_EQ(levelSlot(t, 1).rows, 256u);                 // 512 / 2
  EXPECT_EQ(faceLevelOffset(t, 0, 2), 64u * 4 * 256);  // after level 1
}

TEST(XboxTextureLayout, RejectsFormatsWithoutTextureDataAndNarrowPitches) {
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x10D, 1, 0, 0, 0), Error);         // 16_16_EDRAM
  EXPECT_THROW(makeTextureLayout(16, 16, 1, 1, 0x100 | 57, 1, 0, 0, 0), Error);    // tiled 12-byte texels
  EXPECT_NO_THROW(makeTextureLayout(16, 16, 1, 1, 57, 1, 0, 0, 0));
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 3, 0, 0, 0), Error);       // 96 < 100 texels
  EXPECT_THROW(makeTextureLayout(100, 16, 1, 1, 0x186, 0, 0, 0, 0), Error);
}
