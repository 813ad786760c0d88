// The .x loader against the reference cases whose results are known from the Direct3D 9
// extension library, and against real files from public repositories.
#include "d3dutil/x_loader.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

#include "d3dutil/result_text.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::d3d;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

LoadedMesh loadText(const std::string& text) {
  LoadedMesh mesh;
  std::string detail;
  auto bytes = bytesOf(text);
  const HResult rc = loadMeshFromX(bytes, mesh, detail);
  EXPECT_EQ(rc, kOk) << detail;
  return mesh;
}

HResult codeOf(const std::vector<std::uint8_t>& file) {
  LoadedMesh mesh;
  return loadMeshFromX(file, mesh);
}
HResult codeOf(const std::string& text) { return codeOf(bytesOf(text)); }

float floatAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  float f;
  std::memcpy(&f, &m.vertices[static_cast<std::size_t>(vertex) * m.stride + offset], 4);
  return f;
}
std::uint32_t wordAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  std::uint32_t w;
  std::memcpy(&w, &m.vertices[static_cast<std::size_t>(vertex) * m.stride + offset], 4);
  return w;
}
std::vector<float> position(const MeshData& m, std::uint32_t v) {
  return {floatAt(m, v, 0), floatAt(m, v, 4), floatAt(m, v, 8)};
}

void expectDefaultMaterial(const Material& m) {
  EXPECT_EQ(m.diffuse.r, 0.5f);
  EXPECT_EQ(m.diffuse.g, 0.5f);
  EXPECT_EQ(m.diffuse.b, 0.5f);
  EXPECT_EQ(m.diffuse.a, 0.0f);
  EXPECT_EQ(m.ambient.a, 0.0f);
  EXPECT_EQ(m.specular.r, 0.5f);
  EXPECT_EQ(m.specular.a, 0.0f);
  EXPECT_EQ(m.emissive.a, 0.0f);
  EXPECT_EQ(m.power, 0.0f);
  EXPECT_FALSE(m.textureFilename.has_value());
}

const char* kSimple =
    "xof 0303txt 0032Mesh {3;0.0; 0.0; 0.0;,0.0; 1.0; 0.0;,1.0; 1.0; 0.0;;1;3; 0, 1, 2;;}";

const char* kBox =
    "xof 0303txt 0032template TestData {<12345678-1234-1234-1234-111111111111>DWORD value;}"
    "Mesh {8;0.0; 0.0; 0.0;,0.0; 0.0; 1.0;,0.0; 1.0; 0.0;,0.0; 1.0; 1.0;,1.0; 0.0; 0.0;,1.0; 0.0; 1.0;,"
    "1.0; 1.0; 0.0;,1.0; 1.0; 1.0;;"
    "6;4; 0, 1, 3, 2;,4; 2, 3, 7, 6;,4; 6, 7, 5, 4;,4; 1, 0, 4, 5;,4; 1, 5, 7, 3;,4; 0, 2, 6, 4;;"
    "MeshNormals {6;-1.0; 0.0; 0.0;,0.0; 1.0; 0.0;,1.0; 0.0; 0.0;,0.0; -1.0; 0.0;,0.0; 0.0; 1.0;,0.0; 0.0; -1.0;;"
    "6;4; 0, 0, 0, 0;,4; 1, 1, 1, 1;,4; 2, 2, 2, 2;,4; 3, 3, 3, 3;,4; 4, 4, 4, 4;,4; 5, 5, 5, 5;;}"
    "TestData {1;;}"
    "MeshMaterialList materials {2;6;0, 0, 0, 1, 1, 1;;"
    "Material {0.0; 0.0; 1.0; 1.0;;0.5;1.0; 1.0; 1.0;;0.0; 0.0; 0.0;;}"
    "Material {1.0; 1.0; 1.0; 1.0;;1.0;1.0; 1.0; 1.0;;0.0; 0.0; 0.0;;TextureFilename { \"texture.jpg\"; }}}"
    "TestData {2;;}"
    "MeshVertexColors {8;0; 0.0; 0.0; 0.0; 0.0;;1; 0.0; 0.0; 1.0; 0.1;;2; 0.0; 1.0; 0.0; 0.2;;"
    "3; 0.0; 1.0; 1.0; 0.3;;4; 1.0; 0.0; 0.0; 0.4;;5; 1.0; 0.0; 1.0; 0.5;;6; 1.0; 1.0; 0.0; 0.6;;"
    "7; 1.0; 1.0; 1.0; 0.7;;}"
    "MeshTextureCoords {8;0.0; 1.0;,1.0; 1.0;,0.0; 0.0;,1.0; 0.0;,1.0; 1.0;,0.0; 1.0;,1.0; 0.0;,0.0; 0.0;;}}";

const char* kFramed =
    "xof 0303txt 0032template TestData {<12345678-1234-1234-1234-111111111111>DWORD value;}TestData {1;;}"
    "Material {0.0; 0.0; 1.0; 1.0;;0.5;1.0; 1.0; 1.0;;0.0; 0.0; 0.0;;}"
    "Frame {TestData {2;;}"
    "Mesh { 3; 0.0; 0.0; 0.0;, 0.0; 1.0; 0.0;, 1.0; 1.0; 0.0;; 1; 3; 0, 1, 2;;TestData {3;;}}"
    "FrameTransformMatrix {1.0, 0.0, 0.0, 0.0,0.0, 1.0, 0.0, 0.0,0.0, 0.0, 1.0, 0.0,0.0, 0.0, 2.0, 1.0;;}"
    "TestData {4;;}"
    "Mesh { 3; 0.0; 0.0; 0.0;, 0.0; 1.0; 0.0;, 2.0; 1.0; 0.0;; 1; 3; 0, 1, 2;; }"
    "FrameTransformMatrix {1.0, 0.0, 0.0, 0.0,0.0, 1.0, 0.0, 0.0,0.0, 0.0, 1.0, 0.0,0.0, 0.0, 3.0, 1.0;;}"
    "Mesh { 3; 0.0; 0.0; 0.0;, 0.0; 1.0; 0.0;, 3.0; 1.0; 0.0;; 1; 3; 0, 1, 2;; }}";

}  // namespace

TEST(XLoaderReference, SimpleMeshGetsPositionsOnlyAndTheDefaultMaterial) {
  ASSERT_EQ(std::strlen(kSimple), 84u);
  const LoadedMesh loaded = loadText(kSimple);
  const MeshData& m = loaded.mesh;
  EXPECT_EQ(m.fvf, kFvfXyz);
  EXPECT_EQ(m.stride, 12u);
  ASSERT_EQ(m.vertexCount, 3u);
  EXPECT_EQ(position(m, 0), (std::vector<float>{0, 0, 0}));
  EXPECT_EQ(position(m, 1), (std::vector<float>{0, 1, 0}));
  EXPECT_EQ(position(m, 2), (std::vector<float>{1, 1, 0}));
  EXPECT_EQ(m.indices, (std::vector<std::uint16_t>{0, 1, 2}));
  EXPECT_EQ(m.attributes, (std::vector<std::uint32_t>{0}));
  ASSERT_EQ(loaded.materials.size(), 1u);
  expectDefaultMaterial(loaded.materials[0]);
}

TEST(XLoaderReference, BoxSplitsVerticesPerNormalAndKeepsColoursAndUv) {
  ASSERT_EQ(std::strlen(kBox), 1058u);
  const LoadedMesh loaded = loadText(kBox);
  const MeshData& m = loaded.mesh;
  EXPECT_EQ(m.fvf, 0x152u);
  EXPECT_EQ(m.stride, 36u);
  ASSERT_EQ(m.vertexCount, 24u);
  struct Row {
    float p[3], n[3];
    std::uint32_t color;
    float uv[2];
  };
  const Row rows[24] = {
      {{0, 0, 0}, {-1, 0, 0}, 0x00000000, {0, 1}}, {{0, 0, 1}, {-1, 0, 0}, 0x1A0000FF, {1, 1}},
      {{0, 1, 0}, {-1, 0, 0}, 0x3300FF00, {0, 0}}, {{0, 1, 1}, {-1, 0, 0}, 0x4D00FFFF, {1, 0}},
      {{1, 0, 0}, {1, 0, 0}, 0x66FF0000, {1, 1}},  {{1, 0, 1}, {1, 0, 0}, 0x80FF00FF, {0, 1}},
      {{1, 1, 0}, {0, 1, 0}, 0x99FFFF00, {1, 0}},  {{1, 1, 1}, {0, 1, 0}, 0xB3FFFFFF, {0, 0}},
      {{0, 1, 0}, {0, 1, 0}, 0x3300FF00, {0, 0}},  {{0, 1, 1}, {0, 1, 0}, 0x4D00FFFF, {1, 0}},
      {{1, 1, 0}, {1, 0, 0}, 0x99FFFF00, {1, 0}},  {{1, 1, 1}, {1, 0, 0}, 0xB3FFFFFF, {0, 0}},
      {{0, 0, 1}, {0, -1, 0}, 0x1A0000FF, {1, 1}}, {{0, 0, 0}, {0, -1, 0}, 0x00000000, {0, 1}},
      {{1, 0, 0}, {0, -1, 0}, 0x66FF0000, {1, 1}}, {{1, 0, 1}, {0, -1, 0}, 0x80FF00FF, {0, 1}},
      {{0, 0, 1}, {0, 0, 1}, 0x1A0000FF, {1, 1}},  {{1, 0, 1}, {0, 0, 1}, 0x80FF00FF, {0, 1}},
      {{1, 1, 1}, {0, 0, 1}, 0xB3FFFFFF, {0, 0}},  {{0, 1, 1}, {0, 0, 1}, 0x4D00FFFF, {1, 0}},
      {{0, 0, 0}, {0, 0, -1}, 0x00000000, {0, 1}}, {{0, 1, 0}, {0, 0, -1}, 0x3300FF00, {0, 0}},
      {{1, 1, 0}, {0, 0, -1}, 0x99FFFF00, {1, 0}}, {{1, 0, 0}, {0, 0, -1}, 0x66FF0000, {1, 1}},
  };
  for (std::uint32_t v = 0; v < 24; ++v) {
    SCOPED_TRACE("vertex " + std::to_string(v));
    for (int k = 0; k < 3; ++k) {
      EXPECT_EQ(floatAt(m, v, 4 * k), rows[v].p[k]);
      EXPECT_EQ(floatAt(m, v, 12 + 4 * k), rows[v].n[k]);
    }
    EXPECT_EQ(wordAt(m, v, 24), rows[v].color);
    EXPECT_EQ(floatAt(m, v, 28), rows[v].uv[0]);
    EXPECT_EQ(floatAt(m, v, 32), rows[v].uv[1]);
  }
  EXPECT_EQ(m.indices, (std::vector<std::uint16_t>{0, 1, 3, 0, 3, 2, 8, 9, 7, 8, 7, 6, 10, 11, 5, 10, 5, 4,
                                                   12, 13, 14, 12, 14, 15, 16, 17, 18, 16, 18, 19, 20, 21, 22,
                                                   20, 22, 23}));
  EXPECT_EQ(m.attributes, (std::vector<std::uint32_t>{0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1}));
  ASSERT_EQ(loaded.materials.size(), 2u);
  const Material& a = loaded.materials[0];
  EXPECT_EQ((std::vector<float>{a.diffuse.r, a.diffuse.g, a.diffuse.b, a.diffuse.a}), (std::vector<float>{0, 0, 1, 1}));
  EXPECT_EQ((std::vector<float>{a.ambient.r, a.ambient.g, a.ambient.b, a.ambient.a}), (std::vector<float>{0, 0, 0, 1}));
  EXPECT_EQ((std::vector<float>{a.specular.r, a.specular.g, a.specular.b, a.specular.a}),
            (std::vector<float>{1, 1, 1, 1}));
  EXPECT_EQ((std::vector<float>{a.emissive.r, a.emissive.g, a.emissive.b, a.emissive.a}),
            (std::vector<float>{0, 0, 0, 1}));
  EXPECT_EQ(a.power, 0.5f);
  EXPECT_FALSE(a.textureFilename.has_value());
  const Material& b = loaded.materials[1];
  EXPECT_EQ((std::vector<float>{b.diffuse.r, b.diffuse.g, b.diffuse.b, b.diffuse.a}), (std::vector<float>{1, 1, 1, 1}));
  EXPECT_EQ(b.power, 1.0f);
  EXPECT_EQ(b.textureFilename, std::optional<std::string>("texture.jpg"));
}

TEST(XLoaderReference, FramedMeshesTakeTheMatricesBeforeThemAndIgnoreTopLevelMaterials) {
  const LoadedMesh loaded = loadText(kFramed);
  const MeshData& m = loaded.mesh;
  EXPECT_EQ(m.fvf, kFvfXyz);
  ASSERT_EQ(m.vertexCount, 9u);
  const std::vector<std::vector<float>> expected = {{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {0, 0, 2}, {0, 1, 2},
                                                    {2, 1, 2}, {0, 0, 5}, {0, 1, 5}, {3, 1, 5}};
  for (std::uint32_t v = 0; v < 9; ++v) EXPECT_EQ(position(m, v), expected[v]) << "vertex " << v;
  EXPECT_EQ(m.indices, (std::vector<std::uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
  ASSERT_EQ(loaded.materials.size(), 1u);
  expectDefaultMaterial(loaded.materials[0]);
}

TEST(XLoaderReference, FilesWithoutAMeshWithVerticesFail) {
  EXPECT_EQ(codeOf("xof 0303txt 0032"), kFail);
  EXPECT_EQ(codeOf("xof 0303txt 0032Frame Box01 {    Mesh { 0;; 0;;        MeshNormals { 0;; 0;; }    }}"), kFail);
  EXPECT_EQ(codeOf("xof 0303txt 0032Material {1;1;1;1;;1;0;0;0;;0;0;0;;}"), kFail);
}

namespace {

struct RealFile {
  const char* path;
  std::uint32_t vertices, triangles, stride;
  std::size_t materials;
};

const RealFile kRealFiles[] = {
    {"xfiles/assimp/test_cube_text.x", 24, 12, 32, 1},
    {"xfiles/assimp/test_cube_binary.x", 24, 12, 32, 1},
    {"xfiles/assimp/test_cube_compressed.x", 24, 12, 32, 1},
    {"xfiles/assimp/test.x", 24, 12, 32, 1},
    {"xfiles/assimp/kwxport_test_cubewithvcolors.x", 24, 12, 36, 3},
    {"xfiles/assimp/fromtruespace_bin32.x", 4132, 6656, 32, 1},
    {"xfiles/assimp/BCN_Epileptic.X", 3014, 5126, 32, 1},
    {"xfiles/assimp/anim_test.x", 1720, 840, 32, 1},
    {"xfiles/directx-sdk-samples/tiger.x", 303, 602, 20, 1},
    {"xfiles/directx-sdk-samples/lobby_skybox.x", 24, 12, 32, 6},
    {"xfiles/directx-sdk-samples/skysphere.x", 2280, 760, 32, 1},
    {"xfiles/directx-sdk-samples/islandtop_opt.x", 10179, 3393, 32, 1},
};

LoadedMesh loadReal(const char* path) {
  LoadedMesh mesh;
  std::string detail;
  EXPECT_EQ(loadMeshFromXFile(dataPath(path), mesh, detail), kOk) << path << ": " << detail;
  return mesh;
}

}  // namespace

TEST(XLoaderRealFiles, LoadWithTheExpectedCounts) {
  for (const RealFile& f : kRealFiles) {
    SCOPED_TRACE(f.path);
    const LoadedMesh loaded = loadReal(f.path);
    EXPECT_EQ(loaded.mesh.vertexCount, f.vertices);
    EXPECT_EQ(loaded.mesh.faceCount(), f.triangles);
    EXPECT_EQ(loaded.mesh.stride, f.stride);
    EXPECT_EQ(loaded.mesh.vertices.size(), std::size_t{f.vertices} * f.stride);
    EXPECT_EQ(loaded.mesh.indices.size(), std::size_t{f.triangles} * 3);
    EXPECT_EQ(loaded.materials.size(), f.materials);
    for (std::uint16_t index : loaded.mesh.indices) ASSERT_LT(index, f.vertices);
    for (std::uint32_t a : loaded.mesh.attributes) ASSERT_LT(a, f.materials);
  }
}

namespace {

// A text file with one grid mesh of side x side vertices and (side - 1)^2 quads.
std::string gridFile(std::uint32_t side) {
  std::string s = "xof 0303txt 0032Mesh grid {" + std::to_string(side * side) + ";";
  for (std::uint32_t y = 0; y < side; ++y)
    for (std::uint32_t x = 0; x < side; ++x) s += std::to_string(x) + ";" + std::to_string(y) + ";0;,";
  s.back() = ';';
  s += std::to_string((side - 1) * (side - 1)) + ";";
  for (std::uint32_t y = 0; y + 1 < side; ++y)
    for (std::uint32_t x = 0; x + 1 < side; ++x) {
      const std::uint32_t v = y * side + x;
      s += "4;" + std::to_string(v) + "," + std::to_string(v + 1) + "," + std::to_string(v + side + 1) + "," +
           std::to_string(v + side) + ";,";
    }
  s.back() = ';';
  return s + "}";
}

}  // namespace

TEST(XLoaderFailures, EachFailureHasItsCodeAndDescription) {
  LoadedMesh mesh;
  mesh.mesh.vertexCount = 77;
  std::string detail;
  const HResult missing = loadMeshFromXFile(dataPath("xfiles/no_such_file.x"), mesh, detail);
  EXPECT_EQ(missing, kInvalidData);
  EXPECT_EQ(describeResult(missing), "The data is invalid.");
  EXPECT_NE(detail.find("no_such_file.x"), std::string::npos);
  EXPECT_EQ(mesh.mesh.vertexCount, 77u) << "a failed load leaves the output alone";

  const HResult malformed = codeOf("xof 0303txt 0032Mesh {3;0.0; 0.0; 0.0;,0.0; 1.0; 0.0;,1.0; 1.0; 0.0;;1;3; 0, 1, 2;;");
  EXPECT_EQ(malformed, kParseError);
  EXPECT_EQ(describeResult(malformed), "Data stream could not be parsed.");

  const HResult noMesh = codeOf("xof 0303txt 0032Header {1;0;1;}");
  EXPECT_EQ(noMesh, kFail);
  EXPECT_EQ(describeResult(noMesh), "An undetermined error occurred");

  EXPECT_EQ(codeOf(gridFile(255)), kOk);  // 65,025 vertices still fit
  const HResult tooBig = codeOf(gridFile(257));  // 66,049
  EXPECT_EQ(tooBig, kInvalidCall);
  EXPECT_EQ(describeResult(tooBig), "Invalid call");

  EXPECT_EQ(codeOf("xOf 0303txt 0032"), kBadFileType);
  EXPECT_EQ(codeOf("xof 0303cmp 0032"), kBadFileType);
  EXPECT_EQ(codeOf("xof 0102txt 0032"), kBadFileVersion);
  EXPECT_EQ(codeOf("xof 0303txt 0050"), kBadFileFloatSize);
  EXPECT_EQ(codeOf("xof 0303t"), kBadFileType);
}

TEST(XLoaderRealFiles, TheThreeEncodingsOfOneCubeAgree) {
  const LoadedMesh text = loadReal("xfiles/assimp/test_cube_text.x");
  for (const char* other : {"xfiles/assimp/test_cube_binary.x", "xfiles/assimp/test_cube_compressed.x"}) {
    SCOPED_TRACE(other);
    const LoadedMesh m = loadReal(other);
    EXPECT_EQ(m.mesh.fvf, text.mesh.fvf);
    EXPECT_EQ(m.mesh.vertices, text.mesh.vertices);
    EXPECT_EQ(m.mesh.indices, text.mesh.indices);
    ASSERT_EQ(m.materials.size(), 1u);
    // The binary files hold the exporter's float bits, the text its rounded decimals.
    EXPECT_NEAR(m.materials[0].diffuse.r, text.materials[0].diffuse.r, 1e-6);
    EXPECT_FLOAT_EQ(m.materials[0].power, text.materials[0].power);
  }
  EXPECT_FALSE(text.materials[0].textureFilename.has_value());
}

TEST(XLoaderRealFiles, TexturesAttributesAndFramesOfTheSamples) {
  const LoadedMesh maya = loadReal("xfiles/assimp/test.x");
  EXPECT_EQ(maya.materials[0].textureFilename, std::optional<std::string>(".\\\\test.png"));

  const LoadedMesh kw = loadReal("xfiles/assimp/kwxport_test_cubewithvcolors.x");
  EXPECT_EQ(kw.mesh.fvf, kFvfXyz | kFvfNormal | kFvfDiffuse | kFvfTex1);
  EXPECT_EQ(kw.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2}));
  const char* names[] = {"bottom.tga", "top.tga", "updown.tga"};
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(kw.materials[i].textureFilename.has_value());
    const std::string& t = *kw.materials[i].textureFilename;
    EXPECT_EQ(t.substr(0, 10), "C:\\\\code\\\\");
    EXPECT_EQ(t.substr(t.size() - std::strlen(names[i])), names[i]);
  }

  // Six meshes of four vertices under a frame that scales by 3.
  const LoadedMesh lobby = loadReal("xfiles/directx-sdk-samples/lobby_skybox.x");
  EXPECT_EQ(lobby.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5}));
  for (std::size_t i = 0; i < lobby.mesh.indices.size(); ++i)
    EXPECT_EQ(lobby.mesh.indices[i] / 4, i / 6) << "mesh k's indices are offset by 4k";
  EXPECT_EQ(position(lobby.mesh, 0), (std::vector<float>{3, 3, -3}));
  EXPECT_EQ(position(lobby.mesh, 5), (std::vector<float>{3, 3, 3}));
  EXPECT_EQ(lobby.materials[0].textureFilename, std::optional<std::string>("LobbyYPos.jpg"));

  const LoadedMesh tiger = loadReal("xfiles/directx-sdk-samples/tiger.x");
  EXPECT_EQ(tiger.mesh.fvf, kFvfXyz | kFvfTex1);
  EXPECT_EQ(tiger.materials[0].textureFilename, std::optional<std::string>("tiger.bmp"));
  for (std::uint32_t a : tiger.mesh.attributes) ASSERT_EQ(a, 0u);

  // The mesh's material list only refers to one of five top-level materials.
  const LoadedMesh sky = loadReal("xfiles/directx-sdk-samples/skysphere.x");
  EXPECT_EQ(sky.materials[0].textureFilename, std::optional<std::string>("sky_v2b_tex.dds"));
  EXPECT_EQ(sky.materials[0].power, std::bit_cast<float>(0x404CCCCCu));  // as stored

  const LoadedMesh anim = loadReal("xfiles/assimp/anim_test.x");
  EXPECT_EQ(anim.materials[0].textureFilename, std::optional<std::string>("")) << "empty, not absent";

  const LoadedMesh island = loadReal("xfiles/directx-sdk-samples/islandtop_opt.x");
  expectDefaultMaterial(island.materials[0]);
}

TEST(XLoaderRealFiles, EveryCutOfASmallFileFailsCleanly) {
  for (const char* path : {"xfiles/assimp/test_cube_binary.x", "xfiles/assimp/test_cube_text.x",
                           "xfiles/assimp/test_cube_compressed.x"}) {
    SCOPED_TRACE(path);
    const auto whole = loadData(path);
    // A text file cut only in the white space after its last "}" is still whole.
    const bool text = std::string(path).find("text") != std::string::npos;
    const std::size_t lastBrace = text ? std::string(whole.begin(), whole.end()).rfind('}') : whole.size();
    const std::size_t step = whole.size() > 3000 ? 7 : 1;
    for (std::size_t cut = 0; cut < whole.size(); cut += step) {
      std::vector<std::uint8_t> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
      prefix.shrink_to_fit();
      const HResult rc = codeOf(prefix);
      if (cut <= lastBrace) {
        EXPECT_NE(rc, kOk) << "cut at " << cut;
      }
    }
  }
}
