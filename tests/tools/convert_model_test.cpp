// model: .x and glTF models to the game's files. The .x route is held to the exact mesh
// tool's files; glTF models are checked against what their JSON says, and a glTF made here
// from a real .x file's geometry must give that file's own .XYZ and .MAP.
#include "tools/convert_model.h"

#include <gtest/gtest.h>

#include <cstring>

#include "gltf/glb_builder.h"
#include "image/image_file.h"
#include "support/test_support.h"
#include "tools/export_gltf.h"
#include "tools/open_direct_x.h"
#include "xfile/x_loader.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

struct Outputs {
  std::vector<std::uint8_t> xyz, map;
};

Outputs runModel(const std::string& model, const ScratchDir& dir, RecordingHost& host) {
  convertModel(host, model, dir.path().string(), 2);
  const ModelOutputNames names = modelOutputNames(model, dir.path().string());
  return {readFile(names.xyz), readFile(names.map)};
}

Outputs runMesh(const std::string& model, const ScratchDir& dir) {
  RecordingHost host;
  const std::string folder = model.substr(0, model.rfind('/'));
  openDirectX(host, d3d::portableMeshLayer(), model, dir.prefix(), {true, folder});
  const MeshOutputNames names = meshOutputNames(model, dir.prefix());
  return {readFile(names.xyz), readFile(names.map)};
}

float xyzFloat(const std::vector<std::uint8_t>& xyz, std::size_t at) {
  float f;
  std::memcpy(&f, &xyz[at], 4);
  return f;
}
std::uint16_t xyzU16(const std::vector<std::uint8_t>& xyz, std::size_t at) { return static_cast<std::uint16_t>(xyz[at] | xyz[at + 1] << 8); }

// Position v of an .XYZ file (vertex array at byte 164) and corner k's vertex number.
std::array<float, 3> position(const std::vector<std::uint8_t>& xyz, std::size_t v) {
  return {xyzFloat(xyz, 164 + 12 * v), xyzFloat(xyz, 168 + 12 * v), xyzFloat(xyz, 172 + 12 * v)};
}
std::uint16_t corner(const std::vector<std::uint8_t>& xyz, std::size_t k) { return xyzU16(xyz, getU32(xyz, 13 * 4) + 2 * k); }

// A glTF model of `loaded`'s geometry as a right-handed exporter would write it: z negated,
// second and third corners swapped, one primitive per run of faces with one material, all
// sharing one vertex accessor pair; textures as files beside the model or inside the .glb.
std::vector<std::uint8_t> gltfOf(const d3d::LoadedMesh& loaded, const std::vector<std::string>& imageUris,
                                 const std::vector<std::vector<std::uint8_t>>& imageBytes) {
  GlbBuilder b;
  tinygltf::Model& m = b.model();
  const d3d::MeshData& mesh = loaded.mesh;
  const std::uint32_t uvAt = *d3d::fvfTexCoordOffset(mesh.fvf);
  std::vector<float> positions, uvs;
  for (std::uint32_t v = 0; v < mesh.vertexCount; ++v) {
    float p[5];
    std::memcpy(p, &mesh.vertices[v * mesh.stride], 12);
    std::memcpy(p + 3, &mesh.vertices[v * mesh.stride + uvAt], 8);
    positions.insert(positions.end(), {p[0], p[1], -p[2]});
    uvs.insert(uvs.end(), {p[3], p[4]});
  }
  const int position = b.accessor(b.view(positions.data(), 4 * positions.size()), mesh.vertexCount, TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3);
  const int uv = b.accessor(b.view(uvs.data(), 4 * uvs.size()), mesh.vertexCount, TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC2);
  tinygltf::Mesh gm;
  for (std::uint32_t f = 0; f < mesh.faceCount();) {
    std::vector<std::uint16_t> corners;
    const std::uint32_t material = mesh.attributes[f];
    for (; f < mesh.faceCount() && mesh.attributes[f] == material; ++f)
      corners.insert(corners.end(), {mesh.indices[3 * f], mesh.indices[3 * f + 2], mesh.indices[3 * f + 1]});
    tinygltf::Primitive p;
    p.attributes = {{"POSITION", position}, {"TEXCOORD_0", uv}};
    p.indices = b.accessor(b.view(corners.data(), 2 * corners.size()), corners.size(), TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR);
    p.material = static_cast<int>(material);
    p.mode = TINYGLTF_MODE_TRIANGLES;
    gm.primitives.push_back(p);
  }
  for (std::size_t i = 0; i < loaded.materials.size(); ++i) {
    tinygltf::Image image;
    if (!imageBytes.empty()) {
      image.bufferView = b.view(imageBytes[i].data(), imageBytes[i].size());
      image.mimeType = "image/png";
    } else {
      image.uri = imageUris[i];
    }
    m.images.push_back(image);
    tinygltf::Texture texture;
    texture.source = static_cast<int>(i);
    m.textures.push_back(texture);
    tinygltf::Material material;
    material.pbrMetallicRoughness.baseColorTexture.index = static_cast<int>(i);
    m.materials.push_back(material);
  }
  return b.finish(gm);
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
  static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  const std::size_t n = bytes.size();
  for (std::size_t i = 0; i < n; i += 3) {
    std::uint32_t v = bytes[i] << 16;
    if (i + 1 < n) v |= bytes[i + 1] << 8;
    if (i + 2 < n) v |= bytes[i + 2];
    out += digits[(v >> 18) & 63];
    out += digits[(v >> 12) & 63];
    out += i + 1 < n ? digits[(v >> 6) & 63] : '=';
    out += i + 2 < n ? digits[v & 63] : '=';
  }
  return out;
}

// The level-0 palette (1024 bytes of R, G, B, A) of material m in a .MAP file.
std::vector<std::uint8_t> levelZeroPalette(const std::vector<std::uint8_t>& map, std::size_t m) {
  const std::uint32_t at = getU32(map, 28 + 36 * 4 * m + 28);
  return {map.begin() + at, map.begin() + at + 1024};
}

bool holdsColour(const std::vector<std::uint8_t>& palette, std::array<std::uint8_t, 4> rgba) {
  for (std::size_t i = 0; i < palette.size(); i += 4)
    if (std::equal(rgba.begin(), rgba.end(), palette.begin() + static_cast<std::ptrdiff_t>(i))) return true;
  return false;
}

using Triangle = std::array<std::array<float, 5>, 3>;  // x, y, z, u, v per corner

bool keepBytes(tinygltf::Image* image, const int, std::string*, std::string*, int, int, const unsigned char* data, int size, void*) {
  if (image->bufferView < 0) image->image.assign(data, data + size);
  return true;
}

const float* element(const tinygltf::Model& m, int accessor, std::size_t i, std::size_t size) {
  const auto& a = m.accessors[accessor];
  const auto& v = m.bufferViews[a.bufferView];
  const std::size_t stride = v.byteStride ? v.byteStride : size;
  return reinterpret_cast<const float*>(&m.buffers[v.buffer].data[v.byteOffset + a.byteOffset + i * stride]);
}

// The triangles of a glTF file with float positions and texture coordinates, read with the
// library directly (identity nodes only), and its pictures.
struct ParsedGlb {
  std::vector<Triangle> triangles;
  std::vector<Image> pictures;
};
ParsedGlb parseGlb(const std::vector<std::uint8_t>& glb) {
  tinygltf::Model m;
  tinygltf::TinyGLTF loader;
  loader.SetImageLoader(&keepBytes, nullptr);
  std::string err, warn;
  EXPECT_TRUE(loader.LoadBinaryFromMemory(&m, &err, &warn, glb.data(), static_cast<unsigned>(glb.size()))) << err;
  ParsedGlb out;
  for (const auto& p : m.meshes.at(0).primitives) {
    const auto& ia = m.accessors[p.indices];
    const auto& iv = m.bufferViews[ia.bufferView];
    for (std::size_t t = 0; t < ia.count / 3; ++t) {
      Triangle tri;
      for (std::size_t k = 0; k < 3; ++k) {
        const unsigned char* at = &m.buffers[iv.buffer].data[iv.byteOffset + ia.byteOffset];
        const std::size_t i = ia.componentType == TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT
                                  ? reinterpret_cast<const std::uint16_t*>(at)[3 * t + k]
                                  : reinterpret_cast<const std::uint32_t*>(at)[3 * t + k];
        const float* pos = element(m, p.attributes.at("POSITION"), i, 12);
        const float* uv = element(m, p.attributes.at("TEXCOORD_0"), i, 8);
        tri[k] = {pos[0], pos[1], pos[2], uv[0], uv[1]};
      }
      out.triangles.push_back(tri);
    }
  }
  for (const auto& image : m.images) {
    const auto& v = m.bufferViews[image.bufferView];
    out.pictures.push_back(decodeImage(Bytes(&m.buffers[v.buffer].data[v.byteOffset], v.byteLength), "picture"));
  }
  return out;
}

}  // namespace

TEST(Model, RealXFilesGiveTheMeshToolsGeometry) {
  // Every real .x file loads as mesh loads it; the kwxport cube's TGA textures resolve beside it,
  // so its .MAP must equal mesh's as well. The others name no texture or textures not bundled.
  const struct { const char* path; bool sameMap; const char* error; } cases[] = {
      {"assimp/kwxport_test_cubewithvcolors.x", true, nullptr},
      {"assimp/BCN_Epileptic.X", false, nullptr},
      {"assimp/test_cube_text.x", false, nullptr},
      {"assimp/test_cube_binary.x", false, nullptr},
      {"assimp/test_cube_compressed.x", false, nullptr},
      {"assimp/fromtruespace_bin32.x", false, nullptr},
      {"directx-sdk-samples/islandtop_opt.x", false, nullptr},
      {"assimp/test.x", false, "texture '.\\\\test.png' cannot be read; tried"},
      {"directx-sdk-samples/lobby_skybox.x", false, "texture 'LobbyYPos.jpg' cannot be read"},
  };
  for (const auto& c : cases) {
    const std::string model = dataPath(std::string("xfiles/") + c.path);
    ScratchDir modelOut, meshOut;
    RecordingHost host;
    if (c.error) {
      try {
        convertModel(host, model, modelOut.path().string(), 2);
        ADD_FAILURE() << c.path << " converted";
      } catch (const Error& e) {
        EXPECT_NE(std::string(e.what()).find(c.error), std::string::npos) << e.what();
      }
      EXPECT_TRUE(std::filesystem::is_empty(modelOut.path())) << c.path;
      continue;
    }
    const Outputs mine = runModel(model, modelOut, host);
    const Outputs exact = runMesh(model, meshOut);
    EXPECT_EQ(mine.xyz, exact.xyz) << c.path;
    if (c.sameMap) {
      EXPECT_EQ(mine.map, exact.map) << c.path;
    }
  }
}

// The same object exported both ways gives the same files: the kwxport cube as a right-handed
// glTF, textures beside it (as TGA files) or inside the .glb (as PNG files of the same pixels).
TEST(Model, GltfOfARealXFilesGeometryGivesItsFiles) {
  const std::string model = dataPath("xfiles/assimp/kwxport_test_cubewithvcolors.x");
  const d3d::LoadedMesh loaded = d3d::loadXFile(readFile(model));
  ScratchDir meshOut;
  const Outputs exact = runMesh(model, meshOut);
  ASSERT_EQ(loaded.materials.size(), 3u);

  ScratchDir beside;
  std::vector<std::string> uris;
  std::vector<std::vector<std::uint8_t>> pngs;
  for (const auto& m : loaded.materials) {
    const std::string name = m.textureFilename->substr(m.textureFilename->find_last_of("\\/") + 1);
    const auto tga = loadData("xfiles/assimp/" + name);
    writeFile(beside.file(name), tga);
    uris.push_back(name);
    pngs.push_back(encodePng(decodeImage(tga, name)));
  }
  writeFile(beside.file("cube.glb"), gltfOf(loaded, uris, {}));
  RecordingHost host;
  ScratchDir out1;
  const Outputs fromFiles = runModel(beside.file("cube.glb"), out1, host);
  EXPECT_EQ(fromFiles.xyz, exact.xyz);
  EXPECT_EQ(fromFiles.map, exact.map);

  ScratchDir packed, out2;
  writeFile(packed.file("cube.glb"), gltfOf(loaded, {}, pngs));
  const Outputs fromPngs = runModel(packed.file("cube.glb"), out2, host);
  EXPECT_EQ(fromPngs.xyz, exact.xyz);
  EXPECT_EQ(fromPngs.map.size(), exact.map.size());  // same pixels, but not through the TGA reader

  // The same PNGs as data URIs give the same files as inside the .glb.
  std::vector<std::string> dataUris;
  for (const auto& png : pngs) dataUris.push_back("data:image/png;base64," + base64(png));
  ScratchDir inline_, out3;
  writeFile(inline_.file("cube.glb"), gltfOf(loaded, dataUris, {}));
  const Outputs fromDataUris = runModel(inline_.file("cube.glb"), out3, host);
  EXPECT_EQ(fromDataUris.xyz, exact.xyz);
  EXPECT_EQ(fromDataUris.map, fromPngs.map);
}

// .x materials too take any picture format, and one without a texture gets its colour.
TEST(Model, XMaterialsTakeJpegTexturesAndPlainColours) {
  ScratchDir in, out;
  writeFile(in.file("box.x"), loadData("xfiles/made/reference_box.x"));
  writeFile(in.file("texture.jpg"), loadData("images/quadrants_16x16.jpg"));
  RecordingHost host;
  const Outputs o = runModel(in.file("box.x"), out, host);
  EXPECT_EQ(getU32(o.map, 4), 2u);
  EXPECT_EQ(getU32(o.map, 28), 1u);            // material 0: its blue diffuse colour, 1 x 1
  EXPECT_TRUE(holdsColour(levelZeroPalette(o.map, 0), {0, 0, 255, 255}));
  EXPECT_EQ(getU32(o.map, 28 + 36 * 4), 16u);  // material 1: the 16 x 16 JPEG
}

TEST(Model, KhronosSampleModelsGiveWhatTheirJsonSays) {
  RecordingHost host;
  {
    ScratchDir dir;
    const Outputs o = runModel(dataPath("gltf/TriangleWithoutIndices.gltf"), dir, host);
    EXPECT_EQ(getU32(o.xyz, 6 * 4), 3u);   // vertices
    EXPECT_EQ(getU32(o.xyz, 10 * 4), 1u);  // faces
    EXPECT_EQ(position(o.xyz, 1), (std::array<float, 3>{1, 0, 0}));
    EXPECT_EQ(position(o.xyz, 2), (std::array<float, 3>{0, 1, 0}));
    // Counter-clockwise 0, 1, 2 seen from +z is clockwise 0, 2, 1 seen from -z.
    EXPECT_EQ((std::array<int, 3>{corner(o.xyz, 0), corner(o.xyz, 1), corner(o.xyz, 2)}), (std::array<int, 3>{0, 2, 1}));
  }
  {
    // Sparse values (1, 2), (3, 3), (5, 4) replace vertices 8, 10 and 12 of the 14.
    ScratchDir dir;
    const Outputs o = runModel(dataPath("gltf/SimpleSparseAccessor.gltf"), dir, host);
    EXPECT_EQ(getU32(o.xyz, 6 * 4), 14u);
    EXPECT_EQ(getU32(o.xyz, 10 * 4), 12u);
    EXPECT_EQ(position(o.xyz, 8), (std::array<float, 3>{1, 2, 0}));
    EXPECT_EQ(position(o.xyz, 10), (std::array<float, 3>{3, 3, 0}));
    EXPECT_EQ(position(o.xyz, 9), (std::array<float, 3>{2, 1, 0}));
  }
  {
    // Points and lines are left out with a note each; the triangle list gives 6 triangles,
    // the strip of 6 indices 4, the fan of 8 indices 6, each node moved by its translation.
    ScratchDir dir;
    RecordingHost noted;
    const Outputs o = runModel(dataPath("gltf/MeshPrimitiveModes.gltf"), dir, noted);
    EXPECT_EQ(getU32(o.xyz, 10 * 4), 16u);
    EXPECT_EQ(getU32(o.xyz, 6 * 4), 21u);
    for (const char* mode : {"POINTS", "LINES", "LINE_LOOP", "LINE_STRIP"})
      EXPECT_NE(noted.printedErrors.find(std::string("draws ") + mode + ","), std::string::npos) << mode;
    EXPECT_EQ(position(o.xyz, 0), (std::array<float, 3>{-2, -3, 0}));  // the triangles' node
    // Strip triangle 1 (odd) is strip positions 1, 3, 2: vertices 3, 4, 1 in glTF's winding,
    // 3, 1, 4 reversed.
    const std::size_t strip = 18;
    EXPECT_EQ((std::array<int, 3>{corner(o.xyz, strip + 3), corner(o.xyz, strip + 4), corner(o.xyz, strip + 5)}),
              (std::array<int, 3>{7 + 3, 7 + 1, 7 + 4}));
  }
  {
    // A Blender export: one textured material, the mesh on a rotated node.
    ScratchDir dir;
    const Outputs o = runModel(dataPath("gltf/barrel.glb"), dir, host);
    EXPECT_EQ(getU32(o.xyz, 6 * 4), 856u);
    EXPECT_EQ(getU32(o.xyz, 10 * 4), 1148u);
    EXPECT_EQ(getU32(o.map, 4), 1u);       // materials
    EXPECT_EQ(getU32(o.map, 28), 2048u);   // level 0 width: the 2048 x 2048 COLOR picture
  }
}

TEST(Model, RefusesBrokenAndOversizedModelsWritingNothing) {
  const std::string triangle = [] {
    const auto b = loadData("gltf/TriangleWithoutIndices.gltf");
    return std::string(b.begin(), b.end());
  }();
  const auto edit = [&](const std::string& from, const std::string& to) {
    std::string s = triangle;
    const auto at = s.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return s.replace(at, from.size(), to);
  };
  const struct { std::string json; ErrorKind kind; const char* says; } cases[] = {
      {edit("\"count\" : 3", "\"count\" : 4"), ErrorKind::Corrupt, "run past its buffer view"},
      {edit("\"byteLength\" : 36,\n      \"target\"", "\"byteOffset\" : 4, \"byteLength\" : 36,\n      \"target\""), ErrorKind::Corrupt, "runs past its buffer"},
      {edit("\"mesh\" : 0", "\"mesh\" : 0, \"children\" : [ 0 ]"), ErrorKind::Corrupt, "reached twice"},
      {edit("\"mesh\" : 0", "\"mesh\" : 3"), ErrorKind::Corrupt, "names mesh 3"},
      {edit("\"POSITION\" : 0", "\"POSITION\" : 7"), ErrorKind::Corrupt, "accessor 7"},
      {edit("\"bufferView\" : 0,\n      \"byteOffset\" : 0,\n      \"componentType\" : 5126,\n      \"count\" : 3",
            "\"componentType\" : 5126,\n      \"count\" : 70000"),
       ErrorKind::Unsupported, "70000 vertices"},
      {edit("\"bufferView\" : 0,\n      \"byteOffset\" : 0,\n      \"componentType\" : 5126,\n      \"count\" : 3",
            "\"componentType\" : 5126,\n      \"count\" : 4000000000"),
       ErrorKind::Unsupported, "4000000000 vertices"},
      {edit("\"attributes\" : {", "\"indices\" : 0, \"attributes\" : {"), ErrorKind::Corrupt, "has 3 components per element, not 1"},
      {edit("\"version\" : \"2.0\"", "\"version\" : \"2.0\" } }"), ErrorKind::Corrupt, "glTF"},
      {edit("data:application/octet-stream;base64,", "missing.bin#"), ErrorKind::Io, "missing.bin"},
  };
  for (const auto& c : cases) {
    ScratchDir in, out;
    writeFile(in.file("m.gltf"), std::vector<std::uint8_t>(c.json.begin(), c.json.end()));
    RecordingHost host;
    try {
      convertModel(host, in.file("m.gltf"), out.path().string(), 1);
      ADD_FAILURE() << c.says << ": converted";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), c.kind) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.says), std::string::npos) << e.what();
    }
    EXPECT_TRUE(std::filesystem::is_empty(out.path())) << c.says;
  }

  // An index past the vertices, and a texture wider than the game's files hold.
  const auto loaded = d3d::loadXFile(loadData("xfiles/assimp/kwxport_test_cubewithvcolors.x"));
  Image wide{32768, 1, std::vector<std::uint8_t>(32768 * 4, 200)};
  const std::vector<std::uint8_t> png = encodePng(wide);
  ScratchDir in, out;
  writeFile(in.file("wide.glb"), gltfOf(loaded, {}, {png, png, png}));
  RecordingHost host;
  try {
    convertModel(host, in.file("wide.glb"), out.path().string(), 2);
    ADD_FAILURE() << "a 32768-wide texture converted";
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::Unsupported);
    EXPECT_NE(std::string(e.what()).find("32768 x 1"), std::string::npos) << e.what();
  }
  d3d::LoadedMesh bad = loaded;
  bad.mesh.indices[4] = static_cast<std::uint16_t>(bad.mesh.vertexCount);
  writeFile(in.file("bad.glb"), gltfOf(bad, {}, {png, png, png}));
  try {
    convertModel(host, in.file("bad.glb"), out.path().string(), 2);
    ADD_FAILURE() << "an index past the vertices converted";
  } catch (const Error& e) {
    EXPECT_NE(std::string(e.what()).find("uses vertex " + std::to_string(bad.mesh.vertexCount)), std::string::npos) << e.what();
  }
  EXPECT_TRUE(std::filesystem::is_empty(out.path()));
}

// model then gltf gives back the model's own triangles, float for float, and its pictures
// within the error of a 256-colour palette.
TEST(Model, GltfTurnsModelsFilesBackIntoTheSameTriangles) {
  const auto loaded = d3d::loadXFile(loadData("xfiles/assimp/kwxport_test_cubewithvcolors.x"));
  std::vector<std::vector<std::uint8_t>> pngs;
  for (const char* name : {"bottom.tga", "top.tga", "updown.tga"}) pngs.push_back(encodePng(decodeImage(loadData(std::string("xfiles/assimp/") + name), name)));
  ScratchDir dir;
  const std::vector<std::uint8_t> original = gltfOf(loaded, {}, pngs);
  writeFile(dir.file("cube.glb"), original);
  RecordingHost host;
  convertModel(host, dir.file("cube.glb"), dir.path().string(), 2);
  const GltfExportSummary summary = exportGltf(dir.file("cube.XYZ"), dir.file("cube.MAP"), dir.file("back.glb"));
  EXPECT_EQ(summary.pictures, 3u);

  const ParsedGlb before = parseGlb(original), after = parseGlb(readFile(dir.file("back.glb")));
  EXPECT_EQ(after.triangles, before.triangles);
  ASSERT_EQ(after.pictures.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    const Image& a = before.pictures[i];
    const Image& b = after.pictures[i];
    ASSERT_EQ(std::make_pair(a.width, a.height), std::make_pair(b.width, b.height));
    double error = 0;
    for (std::size_t k = 0; k < a.pixels.size(); ++k) error += std::abs(a.pixels[k] - b.pixels[k]);
    EXPECT_LT(error / a.pixels.size(), 4.0) << i;  // mean per channel, out of 255
  }
}
