// The .XYZ and .MAP writer on meshes and materials built by hand: every header word and
// table, the texture paths and their failure boxes, and the MAP levels decoded back.
#include <gtest/gtest.h>

#include <cstring>

#include "tools/messages.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "support/lzw_decoder.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

void putFloat(std::vector<std::uint8_t>& v, std::size_t at, float f) {
  std::uint32_t bits;
  std::memcpy(&bits, &f, 4);
  putU32(v, at, bits);
}
float getFloat(const std::vector<std::uint8_t>& v, std::size_t at) {
  std::uint32_t bits = getU32(v, at);
  float f;
  std::memcpy(&f, &bits, 4);
  return f;
}
std::uint16_t getU16(const std::vector<std::uint8_t>& v, std::size_t at) {
  return static_cast<std::uint16_t>(v.at(at) | (v.at(at + 1) << 8));
}

// A mesh of `count` vertices in the given vertex format: vertex i at (i, 10 + i, 20 + i),
// texture coordinates (0.5 + i, 0.25 + i) where the format has them; other bytes 0xEE.
d3d::MeshData meshWith(std::uint32_t fvf, std::uint32_t count) {
  d3d::MeshData m;
  m.fvf = fvf;
  m.stride = d3d::fvfStride(fvf);
  m.vertexCount = count;
  m.vertices.assign(static_cast<std::size_t>(count) * m.stride, 0xEE);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t at = static_cast<std::size_t>(i) * m.stride;
    putFloat(m.vertices, at, static_cast<float>(i));
    putFloat(m.vertices, at + 4, 10.0f + i);
    putFloat(m.vertices, at + 8, 20.0f + i);
    if (auto uv = d3d::fvfTexCoordOffset(fvf)) {
      putFloat(m.vertices, at + *uv, 0.5f + i);
      putFloat(m.vertices, at + *uv + 4, 0.25f + i);
    }
  }
  return m;
}

constexpr std::uint32_t kPosNormalTex = d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfTex1;

std::vector<std::uint32_t> words(const std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t n) {
  std::vector<std::uint32_t> out;
  for (std::size_t i = 0; i < n; ++i) out.push_back(getU32(bytes, at + 4 * i));
  return out;
}

d3d::Material textured(const std::string& name) {
  d3d::Material m;
  m.textureFilename = name;
  return m;
}

// Solid-colour blocks, so that quantizing and halving have exact expectations.
std::vector<std::uint8_t> blockPixels(int width, int height) {
  std::vector<std::uint8_t> px;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const int block = (y / 8) * 3 + (x / 16);
      px.insert(px.end(), {static_cast<std::uint8_t>(block * 40 % 256), static_cast<std::uint8_t>(block * 90 % 256),
                           static_cast<std::uint8_t>(block * 17 % 256), 255});
    }
  return px;
}

struct MapLevel {
  std::uint32_t width, height;
  std::vector<std::uint8_t> palette, pixels;
};

// Reads a .MAP file back through its header and tables, decoding every level.
std::vector<MapLevel> readMapLevels(const std::vector<std::uint8_t>& map) {
  std::vector<MapLevel> out;
  const std::uint32_t levels = getU32(map, 8), levelTable = getU32(map, 12), sizes = getU32(map, 24);
  for (std::uint32_t n = 0; n < levels; ++n) {
    auto record = words(map, levelTable + 36 * n, 9);
    MapLevel level{record[0], record[1], {}, {}};
    EXPECT_EQ(record[2], 8u);
    EXPECT_EQ(record[8], record[7] + 1024);
    level.palette.assign(map.begin() + record[7], map.begin() + record[7] + 1024);
    const std::uint32_t size = getU32(map, sizes + 4 * n);
    std::vector<std::uint8_t> stream(map.begin() + record[8], map.begin() + record[8] + size);
    level.pixels = lzwDecode(stream).bytes;
    out.push_back(level);
  }
  return out;
}

// The .XYZ image of one mesh of `count` vertices in the layout `fvf` and these triangles.
std::vector<std::uint8_t> xyzOf(std::uint32_t fvf, std::uint32_t count, std::vector<std::uint16_t> indices) {
  auto mesh = meshWith(fvf, count);
  mesh.attributes = {0x00010005, 2};
  mesh.attributes.resize((indices.size() + 2) / 3);
  mesh.indices = std::move(indices);
  return buildXyzImage(mesh);
}

std::vector<float> floatsOf(const std::vector<std::uint8_t>& v, std::size_t at, std::size_t n) {
  std::vector<float> out;
  for (std::size_t i = 0; i < n; ++i) out.push_back(getFloat(v, at + 4 * i));
  return out;
}

}  // namespace

TEST(XyzFile, HeaderTablesAndPerCornerCoordinates) {
  auto xyz = xyzOf(kPosNormalTex, 4, {0, 1, 2, 2, 3, 0});
  const std::uint32_t v = 4, f = 2;
  ASSERT_EQ(xyz.size(), 164 + 12 * v + 42 * f);
  EXPECT_EQ(words(xyz, 0, 24), (std::vector<std::uint32_t>{164 + 12 * v + 42 * f, 1, 1, 0, 0, 0, v, 164, 3 * f,
                                                           164 + 12 * v + 18 * f, f, 164 + 12 * v, 3 * f,
                                                           164 + 12 * v + 12 * f, 0, 164 + 12 * v + 42 * f, 0, 0, 0,
                                                           0, 0, 0, 0, 0}));
  EXPECT_EQ(words(xyz, 96, 17), (std::vector<std::uint32_t>{v, 0, 0, 0, f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(floatsOf(xyz, 164, 12), (std::vector<float>{0, 10, 20, 1, 11, 21, 2, 12, 22, 3, 13, 23}));
  // Attribute words, then the indices, then each corner's texture coordinates.
  const std::size_t faces = 164 + 12 * v;
  EXPECT_EQ(std::vector<std::uint8_t>(xyz.begin() + faces, xyz.begin() + faces + 36),
            (std::vector<std::uint8_t>{3, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 3, 0, 3, 0, 0, 0, 2, 0, 0, 0, 0, 0,
                                       0, 0, 1, 0, 2, 0, 2, 0, 3, 0, 0, 0}));
  EXPECT_EQ(floatsOf(xyz, faces + 36, 12),
            (std::vector<float>{0.5f, 0.25f, 1.5f, 1.25f, 2.5f, 2.25f, 2.5f, 2.25f, 3.5f, 3.25f, 0.5f, 0.25f}));
}

TEST(XyzFile, CoordinatesFollowTheVertexLayout) {
  // Colour and no normal (24 bytes, UV at 16), colour and normal (36, UV at 28), no UV at all.
  for (std::uint32_t fvf : {d3d::kFvfXyz | d3d::kFvfDiffuse | d3d::kFvfTex1,
                            d3d::kFvfXyz | d3d::kFvfNormal | d3d::kFvfDiffuse | d3d::kFvfTex1,
                            d3d::kFvfXyz | d3d::kFvfTex1, d3d::kFvfXyz | d3d::kFvfNormal}) {
    auto xyz = xyzOf(fvf, 3, {2, 1, 0});
    const bool hasUv = (fvf & d3d::kFvfTex1) != 0;
    const std::vector<float> expected =
        hasUv ? std::vector<float>{2.5f, 2.25f, 1.5f, 1.25f, 0.5f, 0.25f} : std::vector<float>(6, 0.0f);
    EXPECT_EQ(floatsOf(xyz, 164 + 36 + 18, 6), expected) << fvf;
    EXPECT_EQ(getFloat(xyz, 164 + 12 * 2 + 4), 12.0f);
  }
}

TEST(XyzFile, IndicesAreSignedAndNeverReadOutsideTheVertices) {
  auto xyz = xyzOf(kPosNormalTex, 3, {40000, 1, 3});  // 40000 reads as -25536; 3 is past the last vertex
  EXPECT_EQ(getU16(xyz, 164 + 36 + 12), 40000);
  EXPECT_EQ(floatsOf(xyz, 164 + 36 + 18, 6), (std::vector<float>{0, 0, 1.5f, 1.25f, 0, 0}));
  EXPECT_THROW(xyzOf(kPosNormalTex, 3, {0, 1}), Error);
  auto shortBuffer = meshWith(kPosNormalTex, 3);
  shortBuffer.vertices.resize(95);
  shortBuffer.indices = {0, 1, 2};
  shortBuffer.attributes = {0};
  EXPECT_THROW(buildXyzImage(shortBuffer), Error);
}

// A scratch folder, a recording host, and the .MAP written for materials naming textures in it.
class MapFile : public ::testing::Test {
 protected:
  ScratchDir dir;
  RecordingHost host;
  d3d::Material put(const std::string& name, const std::vector<std::uint8_t>& tga) {
    writeFile(dir.file(name), tga);
    return textured(dir.file(name));
  }
  std::vector<std::uint8_t> mapOf(const std::vector<d3d::Material>& materials) {
    writeMapFile(host, materials, dir.file("m.MAP"));
    return readFile(dir.file("m.MAP"));
  }
};

TEST_F(MapFile, NoMaterialsGivesTheBareHeader) {
  auto map = mapOf({});
  EXPECT_EQ(map.size(), 28u);
  EXPECT_EQ(words(map, 0, 7), (std::vector<std::uint32_t>{28, 0, 0, 28, 28, 28, 28}));
  EXPECT_TRUE(host.boxes.empty());
}

TEST_F(MapFile, FourLevelsOfA256By128Texture) {
  auto pixels = blockPixels(256, 128);
  auto map = mapOf({put("t.tga", makeTga(256, 128, 32, 0x20, pixels))});
  EXPECT_TRUE(host.boxes.empty());
  EXPECT_EQ(words(map, 0, 7), (std::vector<std::uint32_t>{static_cast<std::uint32_t>(map.size()), 1, 4, 28,
                                                          28 + 144, 28 + 184, 28 + 168}));
  EXPECT_EQ(words(map, 28 + 144, 6), (std::vector<std::uint32_t>{4, 0, 0, 1, 2, 3}));
  EXPECT_EQ(words(map, 28 + 184, 2), (std::vector<std::uint32_t>{0, 0}));
  EXPECT_EQ(words(map, 28, 9)[7], 28u + 192u);  // level data follows the tables
  auto levels = readMapLevels(map);
  ASSERT_EQ(levels.size(), 4u);
  // Flat colour blocks of 16 x 8, fewer than 255 colours: every level shows each block's
  // own colour (red, green, blue in the palette; blue, green, red in the texture), since
  // halving a flat block keeps it.
  for (int j = 0; j < 4; ++j) {
    const std::uint32_t w = 256u >> j, h = 128u >> j;
    ASSERT_EQ(std::vector<std::uint32_t>({levels[j].width, levels[j].height}), std::vector<std::uint32_t>({w, h}));
    EXPECT_EQ(levels[j].palette, levels[0].palette);
    ASSERT_EQ(levels[j].pixels.size(), std::size_t{w} * h);
    for (std::uint32_t y = 0; y < h; ++y)
      for (std::uint32_t x = 0; x < w; ++x) {
        const std::uint8_t* source = &pixels[4 * ((y << j) * 256 + (x << j))];
        const std::uint8_t* entry = &levels[j].palette[4 * levels[j].pixels[y * w + x]];
        ASSERT_EQ(std::vector<std::uint8_t>(entry, entry + 4),
                  std::vector<std::uint8_t>({source[2], source[1], source[0], 255}));
      }
  }
}

TEST_F(MapFile, OneByOneTextureHasEmptyLowerLevels) {
  auto map = mapOf({put("t.tga", makeTga(1, 1, 32, 0x20, {1, 2, 3, 255}))});
  for (std::uint32_t j = 0; j < 4; ++j) {
    auto record = words(map, 28 + 36 * j, 9);
    EXPECT_EQ(std::vector<std::uint32_t>({record[0], record[1]}), std::vector<std::uint32_t>(2, j == 0 ? 1u : 0u));
    if (j > 0) {
      EXPECT_EQ(getU32(map, 28 + 168 + 4 * j), 3u);
      EXPECT_EQ(std::vector<std::uint8_t>(map.begin() + record[8], map.begin() + record[8] + 3),
                (std::vector<std::uint8_t>{0x00, 0x03, 0x02}));
    }
  }
}

TEST_F(MapFile, StorageVariantsOfOneImageGiveTheSameFile) {
  auto mapOfTga = [&](const std::vector<std::uint8_t>& tga) { return mapOf({put("t.tga", tga)}); };
  // 24-bit pixels are the 32-bit ones with alpha 255.
  auto pixels = patternPixels(40, 24, 8);
  std::vector<std::uint8_t> rgb;
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    pixels[i + 3] = 255;
    rgb.insert(rgb.end(), pixels.begin() + i, pixels.begin() + i + 3);
  }
  EXPECT_EQ(mapOfTga(makeTga(40, 24, 32, 0x00, pixels)), mapOfTga(makeTga(40, 24, 24, 0x00, rgb)));
  // Bottom row first (descriptor bit 5 clear) is flipped into top row first.
  auto blocks = blockPixels(16, 16);  // two rows of blocks: top half and bottom half differ
  std::vector<std::uint8_t> bottomUp;
  for (int y = 15; y >= 0; --y) bottomUp.insert(bottomUp.end(), blocks.begin() + 64 * y, blocks.begin() + 64 * y + 64);
  EXPECT_EQ(mapOfTga(makeTga(16, 16, 32, 0x20, blocks)), mapOfTga(makeTga(16, 16, 32, 0x00, bottomUp)));
  EXPECT_NE(mapOfTga(makeTga(16, 16, 32, 0x20, blocks)), mapOfTga(makeTga(16, 16, 32, 0x20, bottomUp)));
}

TEST_F(MapFile, PalettedTextureKeepsItsPaletteAndSkipsTheKeyColour) {
  std::vector<std::uint8_t> file(18, 0);
  putU16(file, 12, 2);
  putU16(file, 14, 2);
  file[16] = 8;  // bottom row first
  for (int i = 0; i < 256; ++i) file.insert(file.end(), {static_cast<std::uint8_t>(i), 0, 250});  // B, G, R
  file.insert(file.end(), {1, 2, 3, 4});
  auto levels = readMapLevels(mapOf({put("p.tga", file)}));
  ASSERT_EQ(levels.size(), 4u);
  // Entry i is red 250, green 0, blue i, alpha 255; near-magenta entries are left alone.
  for (int i = 0; i < 256; ++i)
    ASSERT_EQ(std::vector<std::uint8_t>(levels[0].palette.begin() + 4 * i, levels[0].palette.begin() + 4 * i + 4),
              (std::vector<std::uint8_t>{250, 0, static_cast<std::uint8_t>(i), 255}));
  EXPECT_EQ(levels[0].pixels, (std::vector<std::uint8_t>{3, 4, 1, 2}));
  // Mean of entries 1..4 is blue (1+2+3+4+2)>>2 = 3: entry 3.
  EXPECT_EQ(levels[1].pixels, (std::vector<std::uint8_t>{3}));
}

TEST_F(MapFile, NearMagentaBecomesTheTransparentEntry) {
  // Opaque near-magenta (red 245, green 10, blue 250), an opaque grey, a transparent pixel.
  std::vector<std::uint8_t> pixels = {250, 10, 245, 255, 90, 90, 90, 255, 90, 90, 90, 0, 90, 90, 90, 255};
  auto levels = readMapLevels(mapOf({put("k.tga", makeTga(2, 2, 32, 0x20, pixels))}));
  ASSERT_EQ(levels.size(), 4u);
  const auto& pal = levels[0].palette;
  // The quantizer gives entry 1 = grey, 2 = near-magenta; entries 0 and 2 are key colours
  // and 2 is the last: it takes entry 0's magenta, key pixels become 0 and transparent
  // ones 2.
  EXPECT_EQ(std::vector<std::uint8_t>(pal.begin(), pal.begin() + 12),
            (std::vector<std::uint8_t>{255, 0, 255, 255, 90, 90, 90, 255, 255, 0, 255, 255}));
  EXPECT_EQ(levels[0].pixels, (std::vector<std::uint8_t>{0, 1, 2, 1}));
}

TEST_F(MapFile, MissingTextureNameStopsTheWriter) {
  const d3d::Material t = put("t.tga", makeTga(2, 2, 32, 0x20, patternPixels(2, 2)));
  auto map = mapOf({t, d3d::Material{}, t});
  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{"MAP File Creation Error", "Missing texture in object"}}));
  // Header and tables stay zero; the first material's four levels (four palettes and four
  // short streams) were written, and no more.
  ASSERT_GT(map.size(), 28u + 192 * 3 + 4 * 1024);
  EXPECT_LT(map.size(), 28u + 192 * 3 + 5 * 1024);
  for (std::size_t i = 0; i < 28 + 192 * 3; ++i) ASSERT_EQ(map[i], 0) << i;
}

TEST_F(MapFile, UpperCaseExtensionIsRefused) {
  const d3d::Material wall = put("wall.TGA", makeTga(2, 2, 32, 0x20, patternPixels(2, 2)));
  EXPECT_EQ(mapOf({wall}), std::vector<std::uint8_t>(28 + 192, 0));
  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{"MAP File Creation Error", " Targa texture not valid or not TGA File"},
                                                         {"You Tried to Load the Following Texture", dir.file("wall.TGA")}}));
}

TEST_F(MapFile, UnreadableTexturesAreSkipped) {
  // Missing file (the dialog is asked with its path and gives nothing), a header that claims
  // more pixels than the file holds, a depth of 0, a short palette, then a good texture.
  auto map = mapOf({textured(dir.file("gone.tga")), put("short.tga", makeTga(4, 4, 32, 0x20, patternPixels(4, 3))),
                    put("zero.tga", makeTga(4, 4, 0, 0x20, {})),
                    put("pal.tga", makeTga(2, 2, 8, 0x20, std::vector<std::uint8_t>(700, 1))),
                    put("good.tga", makeTga(2, 2, 32, 0x20, patternPixels(2, 2)))});
  EXPECT_EQ(host.dialogRequests, (std::vector<std::string>{dir.file("gone.tga")}));
  EXPECT_EQ(host.boxes, std::vector<RecordingHost::Box>(4, {"MAP File Creation Error", "Cannot read Texture"}));
  EXPECT_EQ(words(map, 0, 3), (std::vector<std::uint32_t>{static_cast<std::uint32_t>(map.size()), 5, 20}));
  const std::size_t materialTable = 28 + 144 * 5;
  for (int m = 0; m < 4; ++m)
    EXPECT_EQ(words(map, materialTable + 24 * m, 6), (std::vector<std::uint32_t>{4, 0, 0, 0, 0, 0}));
  EXPECT_EQ(words(map, materialTable + 24 * 4, 6), (std::vector<std::uint32_t>{4, 0, 16, 17, 18, 19}));
  EXPECT_EQ(words(map, 28, 9 * 16), std::vector<std::uint32_t>(9 * 16, 0));
  EXPECT_EQ(words(map, 28 + 36 * 16, 2), (std::vector<std::uint32_t>{2, 2}));
}

TEST_F(MapFile, TheDialogAnswerReplacesAMissingTexture) {
  put("found.tga", makeTga(2, 2, 32, 0x20, patternPixels(2, 2)));
  host.dialogAnswer = dir.file("found.tga");
  EXPECT_EQ(words(mapOf({textured(dir.file("lost.tga"))}), 28, 2), (std::vector<std::uint32_t>{2, 2}));
  EXPECT_TRUE(host.boxes.empty());
}

TEST(MapFilePaths, TexturePathsSplitLikeTheRuntime) {
  auto p = splitPath("C:\\code\\kw.x\\bottom.tga");
  EXPECT_EQ(p.drive, "C:");
  EXPECT_EQ(p.directory, "\\code\\kw.x\\");
  EXPECT_EQ(p.name, "bottom");
  EXPECT_EQ(p.extension, ".tga");
  EXPECT_EQ(p.joined(), "C:\\code\\kw.x\\bottom.tga");
  EXPECT_EQ(splitPath("a/b.c/noext").extension, "");
  EXPECT_EQ(splitPath("x.tar.tga").name, "x.tar");
  EXPECT_EQ(splitPath("").joined(), "");
}
