// Whole .MAP and .XYZ files of real meshes and textures are pinned in the mesh tool's tests.
#include <gtest/gtest.h>

#include <cstring>

#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// The .XYZ image of a mesh of `count` vertices in layout `fvf`: vertex i at (i, 10 + i,
// 20 + i), texture coordinates (0.5 + i, 0.25 + i) where the layout has them, other bytes 0xEE.
std::vector<std::uint8_t> xyzOf(std::uint32_t fvf, std::uint32_t count, std::vector<std::uint16_t> indices) {
  d3d::MeshData m{fvf, d3d::fvfStride(fvf), count, std::vector<std::uint8_t>(count * d3d::fvfStride(fvf), 0xEE), std::move(indices), {}};
  for (std::uint32_t i = 0; i < count; ++i) {
    const float v[5] = {static_cast<float>(i), 10.0f + i, 20.0f + i, 0.5f + i, 0.25f + i};
    std::memcpy(&m.vertices[i * m.stride], v, 12);
    if (auto uv = d3d::fvfTexCoordOffset(fvf)) std::memcpy(&m.vertices[i * m.stride + *uv], v + 3, 8);
  }
  m.attributes = {0x00010005, 2};
  m.attributes.resize((m.indices.size() + 2) / 3);
  return buildXyzImage(m);
}

constexpr std::uint32_t kPosNormalTex = d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfTex1;

}  // namespace

// The digests were taken when each file had been checked field by field: the header and
// its tables, the attribute words, the indices and each corner's texture coordinates.
TEST(XyzFile, ImagesOfEveryLayoutAndOfSignedAndOutOfRangeIndices) {
  const struct { std::uint32_t fvf, count; std::vector<std::uint16_t> indices; const char* digest; } cases[] = {
      {kPosNormalTex, 4, {0, 1, 2, 2, 3, 0}, "5535d062afa6f8e08c513de8d8cb1f6865c67f2968ee6a813a353f5ef84c3924"},
      {d3d::kFvfXyz | d3d::kFvfDiffuse | d3d::kFvfTex1, 3, {2, 1, 0}, "35314003e0c8a42383d20afd1a46d0b3ea9b6a51c198e5e291ba7dd281c6597d"},
      {d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfDiffuse | d3d::kFvfTex1, 3, {2, 1, 0}, "35314003e0c8a42383d20afd1a46d0b3ea9b6a51c198e5e291ba7dd281c6597d"},
      {d3d::kFvfXyz | d3d::kFvfNormal, 3, {2, 1, 0}, "0c5171c94f837252a5b58f0ad2ba91a22a7bc1970423b6abd7815eab3c24f8b9"},
      // 40000 reads as -25536 and 3 is past the last vertex: both get coordinates 0, 0.
      {kPosNormalTex, 3, {40000, 1, 3}, "14a36841a92829d22eb21c4cbfcfb4ed723be2a6048a37985976305af738967b"},
  };
  for (const auto& c : cases) EXPECT_EQ(sha256Hex(xyzOf(c.fvf, c.count, c.indices)), c.digest) << c.fvf << " " << c.indices[0];
  EXPECT_THROW(xyzOf(kPosNormalTex, 3, {0, 1}), Error);
  EXPECT_THROW(buildXyzImage(d3d::MeshData{kPosNormalTex, 32, 3, std::vector<std::uint8_t>(95), {0, 1, 2}, {0}}), Error);
}

// A cut texture reads as no texture (the writer's "Cannot read Texture"), whatever the cut.
TEST(MapFile, EveryCutOfATextureIsRefused) {
  std::vector<std::uint8_t> paletted = makeTga(3, 2, 8, 0x20, std::vector<std::uint8_t>(768 + 6, 9));
  for (const auto& whole : {makeTga(3, 2, 32, 0x00, patternPixels(3, 2)), makeTga(3, 2, 24, 0x20, std::vector<std::uint8_t>(18, 5)), paletted}) {
    ASSERT_TRUE(decodeMapTexture(whole));
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
      std::vector<std::uint8_t> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
      prefix.shrink_to_fit();
      EXPECT_FALSE(decodeMapTexture(prefix)) << int(whole[16]) << "-bit cut at " << cut;
    }
  }
  for (std::uint8_t depth : {0, 33}) EXPECT_FALSE(decodeMapTexture(makeTga(1, 1, depth, 0x20, std::vector<std::uint8_t>(8, 1))));
  std::vector<std::uint8_t> wide = makeTga(1, 1, 8, 0x20, std::vector<std::uint8_t>(769, 1));
  putU16(wide, 12, 32768);
  EXPECT_FALSE(decodeMapTexture(wide));
}

// Palette entries with red and blue of 240 or more and green of 16 or less are the key
// colour: their pixels become index 0. One step outside any bound is not.
TEST(MapFile, KeyColourBoundaries) {
  // B, G, R, A: the key corner, then one step out on red, green and blue.
  const auto texture = decodeMapTexture(makeTga(4, 1, 32, 0x20, {240, 16, 240, 255, 240, 16, 239, 255, 240, 17, 240, 255, 239, 16, 240, 255}));
  ASSERT_TRUE(texture);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(texture->pixels[i] == 0, i == 0) << i;
  EXPECT_EQ(std::vector<std::uint8_t>(texture->palette.begin(), texture->palette.begin() + 4), bytes({255, 0, 255, 255}));
}

TEST(MapFile, AShortWriteStopsTheWriterThere) {
  struct ShortSink : MemoryMapSink {
    std::size_t writes = 0, shortAt = 0;
    std::size_t write(const std::uint8_t* data, std::size_t size) override {
      ++writes;
      return MemoryMapSink::write(data, size) - (writes == shortAt);
    }
  };
  std::vector<d3d::Material> materials(2);
  const auto texture = [](const d3d::Material&) { return MapTextureLookup{decodeMapTexture(makeTga(64, 64, 32, 0x20, patternPixels(64, 64))), false}; };
  // Tables (5 writes), then the first level's palette and its first compressed chunk.
  ShortSink cut;
  cut.shortAt = 7;
  EXPECT_EQ(writeMapFile(cut, materials, texture), MapWriteEnd::ShortWrite);
  EXPECT_EQ(cut.bytes.size(), 28 + 2 * 192 + 1024 + 255u);
  // A short palette or table write is not checked, as in the game's writer.
  ShortSink palette;
  palette.shortAt = 6;
  EXPECT_EQ(writeMapFile(palette, materials, texture), MapWriteEnd::Complete);
}

TEST(MapFile, TexturePathsSplitLikeTheRuntime) {
  const struct { const char* path; std::vector<std::string> parts; } cases[] = {
      {"C:\\code\\kw.x\\bottom.tga", {"C:", "\\code\\kw.x\\", "bottom", ".tga"}},
      {"a/b.c/noext", {"", "a/b.c/", "noext", ""}},
      {"x.tar.tga", {"", "", "x.tar", ".tga"}},
      {"C:x.tga", {"C:", "", "x", ".tga"}},
      {".tga", {"", "", "", ".tga"}},
  };
  for (const auto& c : cases) {
    const SplitPath p = splitPath(c.path);
    EXPECT_EQ((std::vector<std::string>{p.drive, p.directory, p.name, p.extension}), c.parts) << c.path;
    EXPECT_EQ(p.joined(), c.path);
  }
}
