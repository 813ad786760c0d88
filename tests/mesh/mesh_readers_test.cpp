// The .XYZ and .MAP readers and the LZW decoder, each against the writers whose output the
// game reads: what the writers put in must come back out, and broken files must be refused.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "mesh/lzw.h"
#include "mesh/map_reader.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_reader.h"
#include "mesh/xyz_writer.h"
#include "support/test_support.h"
#include "xfile/x_loader.h"

using namespace vellmark;
using namespace vellmark::test;

TEST(LzwDecoder, GivesBackWhatTheCoderTookAndRefusesBrokenStreams) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> noise(100000), ramp(70000);
  for (auto& b : noise) b = static_cast<std::uint8_t>(random());  // fills the table several times over
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint8_t>(i / 300);
  const auto hull = decodeMapTexture(loadData("textures/ship_hull_wood_256x256_rgb24.tga"));
  for (const auto& data : {std::vector<std::uint8_t>{}, std::vector<std::uint8_t>(50000, 0), noise, ramp, hull->pixels}) {
    const auto stream = lzwCompress(data);
    EXPECT_EQ(lzwDecompress(stream, data.size()), data) << data.size();
    if (data.empty()) continue;
    EXPECT_EQ(errorKind([&] { lzwDecompress(stream, data.size() - 1); }), ErrorKind::Corrupt);
    EXPECT_EQ(errorKind([&] { lzwDecompress(stream, data.size() + 1); }), ErrorKind::Corrupt);
    EXPECT_EQ(errorKind([&] { lzwDecompress(Bytes(stream).first(stream.size() - 3), data.size()); }), ErrorKind::Corrupt);
  }
  // Clear, then 300: a code the table does not hold yet.
  EXPECT_EQ(errorKind([] { lzwDecompress(bytes({0x00, 0x59, 0x02, 0x04}), 1); }), ErrorKind::Corrupt);
}

TEST(XyzReader, ReadsBackARealMeshAndRefusesBrokenFiles) {
  const d3d::LoadedMesh loaded = d3d::loadXFile(loadData("xfiles/assimp/kwxport_test_cubewithvcolors.x"));
  const d3d::MeshData& mesh = loaded.mesh;
  const std::vector<std::uint8_t> file = buildXyzImage(mesh);
  const XyzObject o = readXyzFile(file);
  ASSERT_EQ(o.positions.size(), mesh.vertexCount);
  ASSERT_EQ(o.faces.size(), mesh.faceCount());
  const std::uint32_t uvAt = *d3d::fvfTexCoordOffset(mesh.fvf);
  for (std::uint32_t f = 0; f < mesh.faceCount(); ++f) {
    EXPECT_EQ(o.faces[f].material, mesh.attributes[f]);
    for (int k = 0; k < 3; ++k) {
      const std::uint32_t corner = o.faces[f].corners[k];
      const std::uint16_t v = mesh.indices[3 * f + k];
      EXPECT_EQ(o.cornerVertices[corner], v);
      EXPECT_EQ(std::memcmp(o.positions[v].data(), &mesh.vertices[v * mesh.stride], 12), 0);
      EXPECT_EQ(std::memcmp(o.cornerUvs[corner].data(), &mesh.vertices[v * mesh.stride + uvAt], 8), 0);
    }
  }

  const std::uint32_t facesAt = getU32(file, 11 * 4), cornersAt = getU32(file, 13 * 4);
  const struct { const char* what; std::function<void(std::vector<std::uint8_t>&)> damage; } cases[] = {
      {"cut in the header", [](auto& f) { f.resize(60); }},
      {"cut in the coordinates", [](auto& f) { f.resize(f.size() - 4); }},
      {"a corner past the vertices", [&](auto& f) { putU16(f, cornersAt + 2, static_cast<std::uint16_t>(mesh.vertexCount)); }},
      {"a face starting elsewhere", [&](auto& f) { putU16(f, facesAt + 12 + 2, 4); }},
      {"a face of two corners", [&](auto& f) { putU16(f, facesAt, 2); }},
      {"a vertex count past the file", [](auto& f) { putU32(f, 6 * 4, 0x40000000); }},
      {"more faces than corners", [](auto& f) { putU32(f, 12 * 4, 3); }},
  };
  for (const auto& c : cases) {
    std::vector<std::uint8_t> broken = file;
    c.damage(broken);
    EXPECT_EQ(errorKind([&] { readXyzFile(broken); }), ErrorKind::Corrupt) << c.what;
  }
}

TEST(MapReader, ReadsBackEveryLevelAndRefusesBrokenFiles) {
  // A real texture, a material without one, and a see-through pixel of the key colour.
  const auto hull = loadData("textures/ship_hull_wood_256x256_rgb24.tga");
  const auto key = makeTga(2, 2, 32, 0x20, {250, 10, 245, 255, 90, 90, 90, 255, 90, 90, 90, 0, 90, 90, 90, 255});
  const std::vector<std::vector<std::uint8_t>> textures = {hull, {}, key};
  std::vector<d3d::Material> materials(textures.size());
  MemoryMapSink sink;
  std::size_t next = 0;
  ASSERT_EQ(writeMapFile(sink, materials, [&](const d3d::Material&) {
              const auto& t = textures[next++];
              return MapTextureLookup{t.empty() ? std::nullopt : decodeMapTexture(t), false};
            }),
            MapWriteEnd::Complete);
  const std::vector<std::uint8_t>& file = sink.bytes;
  const MapDirectory d = readMapDirectory(file);
  ASSERT_EQ(d.materials.size(), 3u);
  EXPECT_EQ(d.materials[0], (std::vector<std::uint32_t>{0, 1, 2, 3}));
  EXPECT_TRUE(d.materials[1].empty());
  EXPECT_EQ(d.materials[2], (std::vector<std::uint32_t>{8, 9, 10, 11}));
  EXPECT_EQ(d.declaredSize, file.size());

  // Level by level, the writer's own halvings of the quantized texture.
  MapTexture expected = *decodeMapTexture(hull);
  for (std::uint32_t level = 0; level < 4; ++level) {
    const Image image = decodeMapLevel(file, d, level);
    ASSERT_EQ(image.width, static_cast<std::uint32_t>(expected.width)) << level;
    ASSERT_EQ(image.height, static_cast<std::uint32_t>(expected.height)) << level;
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
      const std::uint8_t* e = &expected.palette[4 * expected.pixels[i]];
      ASSERT_EQ((std::array<int, 3>{image.pixels[4 * i + 2], image.pixels[4 * i + 1], image.pixels[4 * i]}),
                (std::array<int, 3>{e[0], e[1], e[2]})) << level << " " << i;
    }
    halveMapTexture(expected);
  }
  const Image keyed = decodeMapLevel(file, d, 8);
  EXPECT_EQ((std::array<int, 4>{keyed.pixels[3], keyed.pixels[7], keyed.pixels[11], keyed.pixels[15]}),
            (std::array<int, 4>{0, 255, 0, 255}));  // near-magenta and the transparent pixel see-through

  const std::uint32_t level0 = 28;  // the first level record
  const struct { const char* what; std::function<void(std::vector<std::uint8_t>&)> damage; } cases[] = {
      {"cut in the header", [](auto& f) { f.resize(20); }},
      {"a palette past the end", [&](auto& f) { putU32(f, level0 + 28, static_cast<std::uint32_t>(f.size()) - 10); }},
      {"data past the end", [&](auto& f) { putU32(f, getU32(f, 24), 0x7FFFFFFF); }},
      {"a material naming level 99", [&](auto& f) { putU32(f, getU32(f, 16) + 8, 99); }},
      {"a level table past the end", [](auto& f) { putU32(f, 8, 0x10000000); }},
  };
  for (const auto& c : cases) {
    std::vector<std::uint8_t> broken = file;
    c.damage(broken);
    EXPECT_EQ(errorKind([&] { readMapDirectory(broken); }), ErrorKind::Corrupt) << c.what;
  }
  std::vector<std::uint8_t> garbled = file;
  for (std::uint32_t i = 0; i < 40; ++i) garbled[getU32(file, level0 + 32) + 20 + i] ^= 0x5A;
  EXPECT_EQ(errorKind([&] { decodeMapLevel(garbled, readMapDirectory(garbled), 0); }), ErrorKind::Corrupt);
}
