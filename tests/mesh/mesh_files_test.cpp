// The .XYZ image of hand-built meshes, the MAP writer's own rules (what it reads of a
// texture, a short write), and texture path splitting. Whole .MAP and .XYZ files of real
// meshes and textures are pinned in the mesh tool's tests.
#include <gtest/gtest.h>

#include <cstring>

#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<float> floatsAt(const std::vector<std::uint8_t>& v, std::size_t at, std::size_t n) {
  std::vector<float> out(n);
  std::memcpy(out.data(), v.data() + at, 4 * n);
  return out;
}

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

TEST(XyzFile, HeaderTablesAndPerCornerCoordinates) {
  const auto xyz = xyzOf(kPosNormalTex, 4, {0, 1, 2, 2, 3, 0});
  const std::uint32_t v = 4, f = 2, end = 164 + 12 * v + 42 * f;
  ASSERT_EQ(xyz.size(), end);
  std::vector<std::uint32_t> header(24 + 17);
  std::memcpy(header.data(), xyz.data(), 4 * header.size());
  EXPECT_EQ(header, (std::vector<std::uint32_t>{end, 1, 1, 0, 0, 0, v, 164, 3 * f, 164 + 12 * v + 18 * f, f, 164 + 12 * v, 3 * f,
                                                164 + 12 * v + 12 * f, 0, end, 0, 0, 0, 0, 0, 0, 0, 0,
                                                v, 0, 0, 0, f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(floatsAt(xyz, 164, 12), (std::vector<float>{0, 10, 20, 1, 11, 21, 2, 12, 22, 3, 13, 23}));
  // Attribute words, then the indices, then each corner's texture coordinates.
  const std::size_t faces = 164 + 12 * v;
  EXPECT_EQ(std::vector<std::uint8_t>(xyz.begin() + faces, xyz.begin() + faces + 36),
            bytes({3, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 3, 0, 3, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0, 2, 0, 3, 0, 0, 0}));
  EXPECT_EQ(floatsAt(xyz, faces + 36, 12), (std::vector<float>{0.5f, 0.25f, 1.5f, 1.25f, 2.5f, 2.25f, 2.5f, 2.25f, 3.5f, 3.25f, 0.5f, 0.25f}));
}

TEST(XyzFile, CoordinatesFollowTheLayoutAndIndicesAreSigned) {
  const struct {
    std::uint32_t fvf, count;
    std::vector<std::uint16_t> indices;
    std::vector<float> uv;
  } cases[] = {
      {d3d::kFvfXyz | d3d::kFvfDiffuse | d3d::kFvfTex1, 3, {2, 1, 0}, {2.5f, 2.25f, 1.5f, 1.25f, 0.5f, 0.25f}},
      {d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfDiffuse | d3d::kFvfTex1, 3, {2, 1, 0}, {2.5f, 2.25f, 1.5f, 1.25f, 0.5f, 0.25f}},
      {d3d::kFvfXyz | d3d::kFvfTex1, 3, {2, 1, 0}, {2.5f, 2.25f, 1.5f, 1.25f, 0.5f, 0.25f}},
      {d3d::kFvfXyz | d3d::kFvfNormal, 3, {2, 1, 0}, {0, 0, 0, 0, 0, 0}},
      // 40000 reads as -25536 and 3 is past the last vertex: both get 0, 0.
      {kPosNormalTex, 3, {40000, 1, 3}, {0, 0, 1.5f, 1.25f, 0, 0}},
  };
  for (const auto& c : cases) {
    const auto xyz = xyzOf(c.fvf, c.count, c.indices);
    EXPECT_EQ(floatsAt(xyz, 164 + 36 + 18, 6), c.uv) << c.fvf;
    EXPECT_EQ(xyz[164 + 36 + 12] | xyz[164 + 36 + 13] << 8, c.indices[0]);
  }
  EXPECT_THROW(xyzOf(kPosNormalTex, 3, {0, 1}), Error);
  d3d::MeshData shortBuffer{kPosNormalTex, 32, 3, std::vector<std::uint8_t>(95), {0, 1, 2}, {0}};
  EXPECT_THROW(buildXyzImage(shortBuffer), Error);
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
  EXPECT_EQ(texture->pixels[0], 0);
  for (int i = 1; i < 4; ++i) EXPECT_NE(texture->pixels[i], 0) << i;
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
  ShortSink whole;
  ASSERT_EQ(writeMapFile(whole, materials, texture), MapWriteEnd::Complete);
  // Tables (5 writes), then the first level's palette and its first compressed chunk.
  ShortSink cut;
  cut.shortAt = 7;
  EXPECT_EQ(writeMapFile(cut, materials, texture), MapWriteEnd::ShortWrite);
  EXPECT_EQ(cut.writes, 7u);
  EXPECT_EQ(cut.bytes.size(), 28 + 2 * 192 + 1024 + 255u);
  // A short palette or table write is not checked, as in the game's writer.
  ShortSink palette;
  palette.shortAt = 6;
  EXPECT_EQ(writeMapFile(palette, materials, texture), MapWriteEnd::Complete);
}

TEST(MapFile, TexturePathsSplitLikeTheRuntime) {
  const struct {
    const char* path;
    SplitPath parts;
  } cases[] = {
      {"C:\\code\\kw.x\\bottom.tga", {"C:", "\\code\\kw.x\\", "bottom", ".tga"}},
      {"a/b.c/noext", {"", "a/b.c/", "noext", ""}},
      {"x.tar.tga", {"", "", "x.tar", ".tga"}},
      {"C:x.tga", {"C:", "", "x", ".tga"}},
      {".tga", {"", "", "", ".tga"}},
  };
  for (const auto& c : cases) {
    const SplitPath p = splitPath(c.path);
    EXPECT_EQ((std::vector<std::string>{p.drive, p.directory, p.name, p.extension}),
              (std::vector<std::string>{c.parts.drive, c.parts.directory, c.parts.name, c.parts.extension})) << c.path;
    EXPECT_EQ(p.joined(), c.path);
  }
}
