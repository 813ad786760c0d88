// How the .x loader turns meshes, frames and materials into the merged mesh: material
// lists, attribute order, frame matrices, merging, references and the checks of mesh data.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "d3dutil/result_text.h"
#include "d3dutil/x_loader.h"
#include "d3dutil/x_mesh_part.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::d3d;
using namespace vellmark::test;

namespace {

HResult load(const std::string& body, LoadedMesh& out) {
  const std::string text = "xof 0303txt 0032" + body;
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  std::string detail;
  const HResult rc = loadMeshFromX(bytes, out, detail);
  return rc;
}

LoadedMesh loadOk(const std::string& body) {
  LoadedMesh out;
  std::string detail;
  const std::string text = "xof 0303txt 0032" + body;
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  EXPECT_EQ(loadMeshFromX(bytes, out, detail), kOk) << detail;
  return out;
}

HResult codeOf(const std::string& body) {
  LoadedMesh out;
  return load(body, out);
}

float floatAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  float f;
  std::memcpy(&f, &m.vertices[static_cast<std::size_t>(vertex) * m.stride + offset], 4);
  return f;
}
std::vector<float> floatsAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset, int n) {
  std::vector<float> out;
  for (int i = 0; i < n; ++i) out.push_back(floatAt(m, vertex, offset + 4 * i));
  return out;
}
std::uint32_t wordAt(const MeshData& m, std::uint32_t vertex, std::uint32_t offset) {
  std::uint32_t w;
  std::memcpy(&w, &m.vertices[static_cast<std::size_t>(vertex) * m.stride + offset], 4);
  return w;
}

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
  LoadedMesh m = loadOk(strip(4, "MeshMaterialList {2; 2; 1, 0;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 0, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 2, 3, 0, 1, 2, 0, 2, 3, 0, 1, 2}));
  // One index for all faces, as in the tiger of the old SDK samples.
  m = loadOk(strip(3, "MeshMaterialList {2; 1; 1;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{1, 1, 1}));
  // No indexes at all: material 0.
  m = loadOk(strip(2, "MeshMaterialList {1; 0;;" + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0}));
  // Unsorted indexes move whole triangles, vertices stay.
  m = loadOk(strip(4, "MeshMaterialList {2; 4; 1, 0, 1, 0;;" + material() + material() + "}"));
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 1, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 2, 3, 0, 2, 3, 0, 1, 2, 0, 1, 2}));
  EXPECT_EQ(floatAt(m.mesh, 3, 0), 3.0f);
  // A polygon's triangles share its material.
  m = loadOk("Mesh {5; 0;0;0;, 1;0;0;, 1;1;0;, 0;1;0;, 2;2;0;; 2; 5; 0,1,2,4,3;, 3; 0,1,2;;"
             "MeshMaterialList {2; 2; 1, 0;;" + material() + material() + "}}");
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 1, 1, 1}));
  EXPECT_EQ(m.mesh.indices, (std::vector<std::uint16_t>{0, 1, 2, 0, 1, 2, 0, 2, 4, 0, 4, 3}));
}

TEST(XMeshMaterials, RecordsTexturesAndColourWords) {
  LoadedMesh m = loadOk(strip(1, "MeshMaterialList {3; 1; 2;;" + material("a.tga", 0.25f) +
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
  LoadedMesh m = loadOk("Frame Parent {" + rotate90 + "Frame Child {" + translation(1, 0, 0) + point + "}" +
                        translation(0, 0, 7) + point + "}");
  ASSERT_EQ(m.mesh.vertexCount, 6u);
  EXPECT_EQ(floatsAt(m.mesh, 0, 0, 3), (std::vector<float>{0, 1, 0})) << "child translation, then parent rotation";
  EXPECT_EQ(floatsAt(m.mesh, 3, 0, 3), (std::vector<float>{0, 0, 7}));

  const std::string scale2 = matrix({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1});
  m = loadOk("Frame {" + scale2 + translation(1, 0, 0) + "Mesh {3; 1;0;0;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}}");
  EXPECT_EQ(floatAt(m.mesh, 0, 0), 3.0f) << "scaled first, then moved";

  // Projective matrices divide by w.
  m = loadOk("Frame {" + matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2}) +
             "Mesh {3; 4;2;6;, 0;0;0;, 0;0;0;; 1; 3;0,1,2;;}}");
  EXPECT_EQ(floatsAt(m.mesh, 0, 0, 3), (std::vector<float>{2, 1, 3}));
}

TEST(XMeshMerge, OffsetsFormatsAndMaterialsOfSeveralMeshes) {
  const std::string withNormals = strip(2, "MeshNormals {1; 0;0;2;; 2; 3;0,0,0;, 3;0,0,0;;}"
                                           "MeshMaterialList {2; 2; 0, 1;;" + material("a") + material("b") + "}");
  const std::string withUv = strip(1, "MeshTextureCoords {4; 0.5;0.25;, 0;0;, 0;0;, 0;0;;}");
  const std::string withColours =
      strip(1, "MeshVertexColors {1; 2; 1;0;0;1;;}MeshMaterialList {1; 1; 0;;" + material("c") + "}");
  LoadedMesh m = loadOk(withNormals + "Frame {" + translation(10, 0, 0) + withUv + "}" + withColours);
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
  EXPECT_EQ(floatsAt(mesh, 4, 0, 3), (std::vector<float>{10, 0, 0}));
  EXPECT_EQ(floatsAt(mesh, 4, 28, 2), (std::vector<float>{0.5f, 0.25f}));
  EXPECT_EQ(wordAt(mesh, 10, 24), 0xFFFF0000u);
  EXPECT_EQ(wordAt(mesh, 9, 24), 0x00FFFFFFu);

  // Meshes without materials only: one stand-in for all, attributes 0.
  m = loadOk(strip(1) + strip(2));
  EXPECT_EQ(m.materials.size(), 1u);
  EXPECT_EQ(m.mesh.attributes, (std::vector<std::uint32_t>{0, 0, 0}));
  EXPECT_EQ(m.mesh.indices[3], 4);
}

TEST(XMeshMerge, ReferencedMeshesAndEmptyMeshes) {
  LoadedMesh m = loadOk(strip(1, "", "Shared") + "Frame {" + translation(0, 5, 0) + "{Shared} {Missing}}" +
                        "Mesh {0;;0;;}" + "Mesh {2; 7;7;7;, 8;8;8;; 0;;}");
  ASSERT_EQ(m.mesh.vertexCount, 10u);
  EXPECT_EQ(floatsAt(m.mesh, 4, 0, 3), (std::vector<float>{0, 5, 0})) << "the referenced mesh, moved";
  EXPECT_EQ(floatsAt(m.mesh, 8, 0, 3), (std::vector<float>{7, 7, 7})) << "a mesh without faces keeps its vertices";
  EXPECT_EQ(m.mesh.faceCount(), 2u);
  // Meshes inside objects the loader does not read are not taken.
  m = loadOk(strip(1) + "AnimationSet {" + strip(1) + "}");
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
  for (const auto& c : cases) EXPECT_EQ(codeOf(c.body), c.code) << c.body;
  // Only meshes that are taken are checked.
  EXPECT_EQ(codeOf(strip(1) + "Whatever {Mesh {3; 0;0;0;;}}"), kOk);
}
