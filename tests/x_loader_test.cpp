// The .x loader against the reference cases whose results are known from the Direct3D 9
// extension library, and against real files from public repositories.
#include "xfile/x_loader.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>

#include "xfile/result_text.h"
#include "xfile/x_mesh_part.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::d3d;
using namespace vellmark::test;

namespace {

const std::string kTxt = "xof 0303txt 0032";

HResult codeOf(const std::vector<std::uint8_t>& file) {
  LoadedMesh mesh;
  return loadMeshFromX(file, mesh);
}
HResult codeOf(const std::string& text) { return codeOf(std::vector<std::uint8_t>(text.begin(), text.end())); }

LoadedMesh loadText(const std::string& text) {
  LoadedMesh mesh;
  std::string detail;
  EXPECT_EQ(loadMeshFromX(std::vector<std::uint8_t>(text.begin(), text.end()), mesh, detail), kOk) << detail;
  return mesh;
}

std::uint32_t wordAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  return getU32(m.vertices, static_cast<std::size_t>(vertex) * m.stride + offset);
}
float floatAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  return std::bit_cast<float>(wordAt(m, vertex, offset));
}
std::vector<float> floatsAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset = 0, int n = 3) {
  std::vector<float> out;
  for (int i = 0; i < n; ++i) out.push_back(floatAt(m, vertex, offset + 4 * i));
  return out;
}
std::vector<float> rgba(const ColorValue& c) { return {c.r, c.g, c.b, c.a}; }

void expectDefaultMaterial(const Material& m) {
  EXPECT_EQ(rgba(m.diffuse), (std::vector<float>{0.5f, 0.5f, 0.5f, 0}));
  EXPECT_EQ(rgba(m.specular), (std::vector<float>{0.5f, 0.5f, 0.5f, 0}));
  EXPECT_EQ(m.ambient.a + m.emissive.a + m.power, 0.0f);
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
  const LoadedMesh loaded = loadText(kSimple);
  const MeshData& m = loaded.mesh;
  EXPECT_EQ(m.fvf, kFvfXyz);
  EXPECT_EQ(m.stride, 12u);
  ASSERT_EQ(m.vertexCount, 3u);
  EXPECT_EQ(floatsAt(m, 0), (std::vector<float>{0, 0, 0}));
  EXPECT_EQ(floatsAt(m, 1), (std::vector<float>{0, 1, 0}));
  EXPECT_EQ(floatsAt(m, 2), (std::vector<float>{1, 1, 0}));
  EXPECT_EQ(m.indices, (std::vector<std::uint16_t>{0, 1, 2}));
  EXPECT_EQ(m.attributes, (std::vector<std::uint32_t>{0}));
  ASSERT_EQ(loaded.materials.size(), 1u);
  expectDefaultMaterial(loaded.materials[0]);
}

TEST(XLoaderReference, BoxSplitsVerticesPerNormalAndKeepsColoursAndUv) {
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
  const std::vector<float> expectedA = {0, 0, 1, 1, 0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 1, 0.5f};
  std::vector<float> gotA = rgba(a.diffuse);
  for (const ColorValue& c : {a.ambient, a.specular, a.emissive}) gotA.insert(gotA.end(), {c.r, c.g, c.b, c.a});
  gotA.push_back(a.power);
  EXPECT_EQ(gotA, expectedA);
  EXPECT_FALSE(a.textureFilename.has_value());
  const Material& b = loaded.materials[1];
  EXPECT_EQ(rgba(b.diffuse), (std::vector<float>{1, 1, 1, 1}));
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
  for (std::uint32_t v = 0; v < 9; ++v) EXPECT_EQ(floatsAt(m, v), expected[v]) << "vertex " << v;
  EXPECT_EQ(m.indices, (std::vector<std::uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
  ASSERT_EQ(loaded.materials.size(), 1u);
  expectDefaultMaterial(loaded.materials[0]);
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

  // No mesh, or no mesh with vertices.
  for (const char* body : {"", "Header {1;0;1;}", "Material {1;1;1;1;;1;0;0;0;;0;0;0;;}",
                           "Frame Box01 {    Mesh { 0;; 0;;        MeshNormals { 0;; 0;; }    }}"})
    EXPECT_EQ(codeOf(kTxt + body), kFail) << body;
  EXPECT_EQ(describeResult(kFail), "An undetermined error occurred");

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
    // The binary files hold the exporter's float bits, the text its rounded decimals.
    EXPECT_NEAR(m.materials.at(0).diffuse.r, text.materials.at(0).diffuse.r, 1e-6);
    EXPECT_FLOAT_EQ(m.materials[0].power, text.materials[0].power);
  }
}

TEST(XLoaderRealFiles, TexturesAttributesAndFramesOfTheSamples) {
  const LoadedMesh maya = loadReal("xfiles/assimp/test.x");
  EXPECT_EQ(maya.materials[0].textureFilename, std::optional<std::string>(".\\\\test.png"));

  const LoadedMesh kw = loadReal("xfiles/assimp/kwxport_test_cubewithvcolors.x");
  EXPECT_EQ(kw.mesh.fvf, kFvfXyz | kFvfNormal | kFvfDiffuse | kFvfTex1);
  EXPECT_EQ(kw.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2}));
  const std::string folder = "C:\\\\code\\\\sourceforge\\\\kwxport\\\\trunkMerged\\\\test\\\\data\\\\";
  const std::string names[] = {"bottom.tga", "top.tga", "updown.tga"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(kw.materials[i].textureFilename, folder + names[i]);

  // Six meshes of four vertices under a frame that scales by 3.
  const LoadedMesh lobby = loadReal("xfiles/directx-sdk-samples/lobby_skybox.x");
  EXPECT_EQ(lobby.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5}));
  for (std::size_t i = 0; i < lobby.mesh.indices.size(); ++i)
    EXPECT_EQ(lobby.mesh.indices[i] / 4, i / 6) << "mesh k's indices are offset by 4k";
  EXPECT_EQ(floatsAt(lobby.mesh, 0), (std::vector<float>{3, 3, -3}));
  EXPECT_EQ(floatsAt(lobby.mesh, 5), (std::vector<float>{3, 3, 3}));
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
    const auto whole = loadData(path);
    const std::string text(whole.begin(), whole.end());
    // A text file cut only in the white space after its last "}" is still whole.
    const std::size_t end = text.starts_with("xof 0303txt") ? text.rfind('}') + 1 : whole.size();
    for (std::size_t cut = 0; cut < end; cut += whole.size() > 3000 ? 7 : 1)
      EXPECT_NE(codeOf(std::vector<std::uint8_t>(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut))), kOk)
          << path << " cut at " << cut;
  }
}

// How meshes, frames and materials merge: material lists, attribute order, frame matrices,
// references, and the checks of mesh data.
namespace {

// Four vertices on the x axis (0..3) and `faces` triangles (0,1,2), (0,2,3), ... repeated.
std::string strip(int faces, const std::string& children = "", const std::string& name = "") {
  std::string s = "Mesh " + name + " {4; 0;0;0;, 1;0;0;, 2;0;0;, 3;0;0;; " + std::to_string(faces) + ";";
  for (int f = 0; f < faces; ++f) s += f % 2 ? "3;0,2,3;" : "3;0,1,2;", s += f + 1 < faces ? "," : ";";
  return s + children + "}";
}

std::string material(const std::string& texture = "", float red = 1) {
  std::string s = "Material {" + std::to_string(red) + ";0;0;1;; 2; 0;0;0;; 0;0;0;;";
  if (!texture.empty()) s += "TextureFilename {\"" + texture + "\";}";
  return s + "}";
}

std::string matrix(const std::vector<float>& m) {
  std::string s = "FrameTransformMatrix {";
  for (std::size_t i = 0; i < 16; ++i) s += std::to_string(m[i]) + (i < 15 ? "," : ";;");
  return s + "}";
}
std::string translation(float x, float y, float z) { return matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1}); }

}  // namespace

TEST(XMeshMaterials, ShortListsRepeatTheirLastIndexAndFacesSortStably) {
  // Faces get 1, 0, then the last listed (0) for the rest; sorting keeps equal ones in order.
  LoadedMesh m = loadText(kTxt + strip(4, "MeshMaterialList {2; 2; 1, 0;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 0, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 2, 3, 0, 1, 2, 0, 2, 3, 0, 1, 2}));
  // One index for all faces, as in the tiger of the old SDK samples.
  m = loadText(kTxt + strip(3, "MeshMaterialList {2; 1; 1;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{1, 1, 1}));
  // No indexes at all: material 0.
  m = loadText(kTxt + strip(2, "MeshMaterialList {1; 0;;" + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0}));
  // Unsorted indexes move whole triangles, vertices stay.
  m = loadText(kTxt + strip(4, "MeshMaterialList {2; 4; 1, 0, 1, 0;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 2, 3, 0, 2, 3, 0, 1, 2, 0, 1, 2}));
  EXPECT_EQ(floatAt(m.mesh, 3, 0), 3.0f);
  // A polygon's triangles share its material.
  m = loadText(kTxt + "Mesh {5; 0;0;0;, 1;0;0;, 1;1;0;, 0;1;0;, 2;2;0;; 2; 5; 0,1,2,4,3;, 3; 0,1,2;;"
             "MeshMaterialList {2; 2; 1, 0;;" + material() + material() + "}}");
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 1, 1, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 1, 2, 0, 1, 2, 0, 2, 4, 0, 4, 3}));
}

TEST(XMeshMaterials, RecordsTexturesAndColourWords) {
  LoadedMesh m = loadText(kTxt + strip(1, "MeshMaterialList {3; 1; 2;;" + material("a.tga", 0.25f) +
                                     "Material {0;0;0;0;;0;0;0;0;;0;0;0;; TextureFileName {\"first\";} "
                                     "TextureFilename {\"second\";}}" + material() + "}"));
  ASSERT_EQ(m.materials.size(), 3u);
  EXPECT_EQ(m.materials[0].textureFilename, std::optional<std::string>("a.tga"));
  EXPECT_EQ(m.materials[0].diffuse.r, 0.25f);
  EXPECT_EQ(m.materials[0].power, 2.0f);
  EXPECT_EQ(m.materials[1].textureFilename, std::optional<std::string>("second")) << "the last name wins";
  EXPECT_FALSE(m.materials[2].textureFilename.has_value());

  EXPECT_EQ(colorWord(0.1f, 0.3f, 0.7f, 1.0f), 0xFF1A4DB3u);
  EXPECT_EQ(colorWord(-0.5f, 1.5f, NAN, 0.5f), 0x8000FF00u);
}

TEST(XMeshFrames, InnerMatricesComeFirstAndMatricesInOneFrameApplyInFileOrder) {
  const std::string rotate90 = matrix({0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
  const std::string point = "Mesh {3; 0;0;0;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}";
  LoadedMesh m = loadText(kTxt + "Frame Parent {" + rotate90 + "Frame Child {" + translation(1, 0, 0) + point + "}" +
                        translation(0, 0, 7) + point + "}");
  ASSERT_EQ(m.mesh.vertexCount, 6u);
  EXPECT_EQ(floatsAt(m.mesh, 0), (std::vector<float>{0, 1, 0})) << "child translation, then parent rotation";
  EXPECT_EQ(floatsAt(m.mesh, 3), (std::vector<float>{0, 0, 7}));

  const std::string scale2 = matrix({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1});
  m = loadText(kTxt + "Frame {" + scale2 + translation(1, 0, 0) + "Mesh {3; 1;0;0;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}}");
  EXPECT_EQ(floatAt(m.mesh, 0, 0), 3.0f) << "scaled first, then moved";

  // Projective matrices divide by w.
  m = loadText(kTxt + "Frame {" + matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2}) +
             "Mesh {3; 4;2;6;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}}");
  EXPECT_EQ(floatsAt(m.mesh, 0), (std::vector<float>{2, 1, 3}));
}

TEST(XMeshMerge, OffsetsFormatsAndMaterialsOfSeveralMeshes) {
  const std::string withNormals = strip(2, "MeshNormals {1; 0;0;2;; 2; 3;0,0,0;, 3;0,0,0;;}"
                                           "MeshMaterialList {2; 2; 0, 1;;" + material("a") + material("b") + "}");
  const std::string withUv = strip(1, "MeshTextureCoords {4; 0.5;0.25;, 0;0;, 0;0;, 0;0;;}");
  const std::string withColours =
      strip(1, "MeshVertexColors {1; 2; 1;0;0;1;;}MeshMaterialList {1; 1; 0;;" + material("c") + "}");
  LoadedMesh m = loadText(kTxt + withNormals + "Frame {" + translation(10, 0, 0) + withUv + "}" + withColours);
  const MeshData& mesh = m.mesh;
  EXPECT_EQ(mesh.fvf, kFvfXyz | kFvfNormal | kFvfDiffuse | kFvfTex1);
  ASSERT_EQ(mesh.vertexCount, 12u);
  EXPECT_EQ(mesh.indices, (std::vector<std::uint16_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 8, 9, 10}));
  ASSERT_EQ(m.materials.size(), 4u);
  EXPECT_EQ(m.materials[0].textureFilename, std::optional<std::string>("a"));
  EXPECT_FALSE(m.materials[2].textureFilename.has_value()) << "the stand-in of the mesh without materials";
  EXPECT_EQ(m.materials[2].diffuse.a, 0.0f);
  EXPECT_EQ(m.materials[3].textureFilename, std::optional<std::string>("c"));
  EXPECT_EQ(mesh.attributes, (std::vector<std::uint32_t>{0, 1, 2, 3}));
  // Normals are normalised; components a mesh lacks are zero, or white with alpha 0.
  EXPECT_EQ(floatsAt(mesh, 1, 12, 3), (std::vector<float>{0, 0, 1}));
  EXPECT_EQ(floatsAt(mesh, 4, 12, 3), (std::vector<float>{0, 0, 0}));
  EXPECT_EQ(wordAt(mesh, 0, 24), 0x00FFFFFFu);
  EXPECT_EQ(floatsAt(mesh, 0, 28, 2), (std::vector<float>{0, 0}));
  EXPECT_EQ(floatsAt(mesh, 4), (std::vector<float>{10, 0, 0}));
  EXPECT_EQ(floatsAt(mesh, 4, 28, 2), (std::vector<float>{0.5f, 0.25f}));
  EXPECT_EQ(wordAt(mesh, 10, 24), 0xFFFF0000u);
  EXPECT_EQ(wordAt(mesh, 9, 24), 0x00FFFFFFu);

  // Meshes without materials only: one stand-in for all, attributes 0.
  m = loadText(kTxt + strip(1) + strip(2));
  EXPECT_EQ(m.materials.size(), 1u);
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 0}));
  EXPECT_EQ(m.mesh.indices[3], 4);
}

TEST(XMeshMerge, ReferencedMeshesAndEmptyMeshes) {
  LoadedMesh m = loadText(kTxt + strip(1, "", "Shared") + "Frame {" + translation(0, 5, 0) + "{Shared} {Missing}}" +
                        "Mesh {0;;0;;}" + "Mesh {2; 7;7;7;, 8;8;8;; 0;;}");
  ASSERT_EQ(m.mesh.vertexCount, 10u);
  EXPECT_EQ(floatsAt(m.mesh, 4), (std::vector<float>{0, 5, 0})) << "the referenced mesh, moved";
  EXPECT_EQ(floatsAt(m.mesh, 8), (std::vector<float>{7, 7, 7})) << "a mesh without faces keeps its vertices";
  EXPECT_EQ(m.mesh.faceCount(), 2u);
  // Meshes inside objects the loader does not read are not taken.
  m = loadText(kTxt + strip(1) + "AnimationSet {" + strip(1) + "}");
  EXPECT_EQ(m.mesh.vertexCount, 4u);
}

TEST(XMeshChecks, InconsistentMeshDataFailsAndMisshapenDataIsAParseError) {
  const std::string list2 = material() + material();
  const struct {
    std::string body;
    HResult code;
  } cases[] = {
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 3; 0,1,3;;}", kFail},
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 2; 0,1;;}", kFail},
      {strip(2, "MeshNormals {1; 0;0;1;; 1; 3;0,0,0;;}"), kFail},
      {strip(1, "MeshNormals {1; 0;0;1;; 1; 4;0,0,0,0;;}"), kFail},
      {strip(1, "MeshNormals {1; 0;0;1;; 1; 3;0,1,0;;}"), kFail},
      {strip(1, "MeshTextureCoords {3; 0;0;, 0;0;, 0;0;;}"), kFail},
      {strip(1, "MeshVertexColors {1; 4; 1;0;0;1;;}"), kFail},
      {strip(2, "MeshMaterialList {2; 2; 0, 2;;" + list2 + "}"), kFail},
      {strip(2, "MeshMaterialList {2; 2; 0, 1;;" + material() + "}"), kFail},
      {strip(2, "MeshMaterialList {2; 2; 0, 1;;" + list2 + material() + "}"), kFail},
      {strip(1, "MeshMaterialList {2; 2; 0, 1;;" + list2 + "}"), kFail},
      {strip(1, "MeshMaterialList {1; 1; 0;; {Nowhere}}"), kFail},
      {strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;0;0;0;;0;0;;}}"), kParseError},
      {strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;0;0;0;;0;0;0;0;;}}"), kParseError},
      {strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;\"x\";0;0;;0;0;0;;}}"), kParseError},
      {strip(1, "MeshMaterialList {1; 1; 0;; Material {1;1;1;1;;0;0;0;0;;0;0;0;; TextureFilename {1;}}}"),
       kParseError},
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 3; 0,1,2;; 5;}", kParseError},
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; -1; 3; 0,1,2;;}", kParseError},
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1.0; 3; 0,1,2;;}", kParseError},
      {"Mesh {4000000000; 0;0;0;;}", kParseError},
      {"Mesh {3; 0;0;0;, 1;0;0;, 0;1;0;; 1; 4000000000; 0,1,2;;}", kParseError},
      {"Frame {FrameTransformMatrix {1,0,0,0,0,1,0,0,0,0,1,0,0,0,0;;}" + strip(1) + "}", kParseError},
  };
  for (const auto& c : cases) EXPECT_EQ(codeOf(kTxt + c.body), c.code) << c.body;
  // Only meshes that are taken are checked.
  EXPECT_EQ(codeOf(kTxt + strip(1) + "Whatever {Mesh {3; 0;0;0;;}}"), kOk);
}
