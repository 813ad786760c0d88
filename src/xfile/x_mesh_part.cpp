#include "xfile/x_mesh_part.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include "xfile/x_values.h"

namespace vellmark::d3d {

namespace {

[[noreturn]] void inconsistent(const std::string& message) { failX(kFail, message); }

// The faces of a Mesh or MeshNormals object: corner indices of all faces one after another.
struct FaceList {
  std::vector<std::uint32_t> start;    // faceCount + 1 offsets into corners
  std::vector<std::uint32_t> corners;
  std::uint32_t faceCount() const { return static_cast<std::uint32_t>(start.size() - 1); }
  std::uint32_t cornerCount(std::uint32_t f) const { return start[f + 1] - start[f]; }
};

FaceList readFaces(ValueReader& r, const char* countMember, std::uint32_t indexLimit, const char* what) {
  FaceList faces;
  const std::uint32_t n = r.count(countMember, 1);
  faces.start.reserve(static_cast<std::size_t>(n) + 1);
  faces.start.push_back(0);
  faces.corners.reserve(std::min<std::size_t>(r.remaining(), static_cast<std::size_t>(n) * 3));
  for (std::uint32_t f = 0; f < n; ++f) {
    const std::uint32_t corners = r.count("nFaceVertexIndices", 1);
    for (std::uint32_t c = 0; c < corners; ++c) {
      const std::uint32_t index = r.dword("faceVertexIndices");
      if (index >= indexLimit)
        inconsistent(std::string(what) + " face " + std::to_string(f) + " uses index " + std::to_string(index) +
                     " of " + std::to_string(indexLimit));
      faces.corners.push_back(index);
    }
    faces.start.push_back(static_cast<std::uint32_t>(faces.corners.size()));
  }
  return faces;
}

struct Normals {
  std::vector<float> vectors;  // 3 per normal, normalised
  FaceList faces;
};

Normals readNormals(const XTree& tree, const XObject& object, const FaceList& meshFaces) {
  ValueReader r(tree, object);
  Normals normals;
  const std::uint32_t n = r.count("nNormals", 3);
  normals.vectors.resize(static_cast<std::size_t>(n) * 3);
  for (std::uint32_t i = 0; i < n; ++i) {
    float x = r.number("normals"), y = r.number("normals"), z = r.number("normals");
    const float length = std::sqrt(x * x + y * y + z * z);
    if (length > 0) x /= length, y /= length, z /= length;
    normals.vectors[3 * i] = x, normals.vectors[3 * i + 1] = y, normals.vectors[3 * i + 2] = z;
  }
  normals.faces = readFaces(r, "nFaceNormals", n, "MeshNormals");
  r.finish();
  if (normals.faces.faceCount() != meshFaces.faceCount())
    inconsistent("MeshNormals has " + std::to_string(normals.faces.faceCount()) + " faces, the mesh " +
                 std::to_string(meshFaces.faceCount()));
  for (std::uint32_t f = 0; f < meshFaces.faceCount(); ++f)
    if (normals.faces.cornerCount(f) != meshFaces.cornerCount(f))
      inconsistent("MeshNormals face " + std::to_string(f) + " has another corner count than the mesh face");
  return normals;
}

Material readMaterial(const XTree& tree, const XObject& object) {
  ValueReader r(tree, object);
  Material m;
  m.diffuse.r = r.number("faceColor"), m.diffuse.g = r.number("faceColor");
  m.diffuse.b = r.number("faceColor"), m.diffuse.a = r.number("faceColor");
  m.power = r.number("power");
  m.specular.r = r.number("specularColor"), m.specular.g = r.number("specularColor");
  m.specular.b = r.number("specularColor"), m.specular.a = 1.0f;
  m.emissive.r = r.number("emissiveColor"), m.emissive.g = r.number("emissiveColor");
  m.emissive.b = r.number("emissiveColor"), m.emissive.a = 1.0f;
  m.ambient = {0.0f, 0.0f, 0.0f, 1.0f};
  r.finish();
  for (std::uint32_t child : tree.childrenOf(object)) {
    if (child == XTree::kUnresolved) continue;
    const XObject& c = tree.objects[child];
    if (c.role != XRole::TextureFilename) continue;
    ValueReader t(tree, c);
    m.textureFilename = std::string(t.string("filename"));
    t.finish();
  }
  return m;
}

bool sameFloat(float a, float b) {
  if (a == b) return true;
  std::uint32_t x, y;
  std::memcpy(&x, &a, 4);
  std::memcpy(&y, &b, 4);
  return x == y;
}

bool sameNormal(const float* a, const float* b) {
  return sameFloat(a[0], b[0]) && sameFloat(a[1], b[1]) && sameFloat(a[2], b[2]);
}

// Rounds to single precision even where the compiler keeps floats wider (x87).
float single(float value) {
  volatile float stored = value;
  return stored;
}

}  // namespace

std::uint32_t colorWord(float r, float g, float b, float a) {
  auto byte = [](float c) -> std::uint32_t {
    if (!(c > 0.0f)) return 0;  // also NaN
    if (c >= 1.0f) return 0xFF;
    return static_cast<std::uint32_t>(single(single(c * 255.0f) + 0.5f));
  };
  return (byte(a) << 24) | (byte(r) << 16) | (byte(g) << 8) | byte(b);
}

Material defaultMaterial() {
  Material m;
  m.diffuse = {0.5f, 0.5f, 0.5f, 0.0f};
  m.ambient = {0.0f, 0.0f, 0.0f, 0.0f};
  m.specular = {0.5f, 0.5f, 0.5f, 0.0f};
  m.emissive = {0.0f, 0.0f, 0.0f, 0.0f};
  m.power = 0.0f;
  return m;
}

MeshPart buildMeshPart(const XTree& tree, const XObject& mesh) {
  MeshPart part;
  ValueReader r(tree, mesh);
  const std::uint32_t vertexCount = r.count("nVertices", 3);
  part.positions.resize(static_cast<std::size_t>(vertexCount) * 3);
  for (float& p : part.positions) p = r.number("vertices");
  const FaceList faces = readFaces(r, "nFaces", vertexCount, "Mesh");
  r.finish();
  for (std::uint32_t f = 0; f < faces.faceCount(); ++f)
    if (faces.cornerCount(f) < 3) inconsistent("Mesh face " + std::to_string(f) + " has fewer than 3 corners");

  const XObject *normalsObject = nullptr, *uvObject = nullptr, *colorObject = nullptr, *materialObject = nullptr;
  for (std::uint32_t child : tree.childrenOf(mesh)) {
    if (child == XTree::kUnresolved) continue;
    const XObject& c = tree.objects[child];
    switch (c.role) {
      case XRole::MeshNormals: normalsObject = &c; break;
      case XRole::MeshTextureCoords: uvObject = &c; break;
      case XRole::MeshVertexColors: colorObject = &c; break;
      case XRole::MeshMaterialList: materialObject = &c; break;
      default: break;
    }
  }

  if (uvObject) {
    part.fvf |= kFvfTex1;
    ValueReader t(tree, *uvObject);
    const std::uint32_t n = t.count("nTextureCoords", 2);
    if (n != vertexCount)
      inconsistent("MeshTextureCoords has " + std::to_string(n) + " entries for " + std::to_string(vertexCount) +
                   " vertices");
    part.texCoords.resize(static_cast<std::size_t>(n) * 2);
    for (float& uv : part.texCoords) uv = t.number("textureCoords");
    t.finish();
  }
  if (colorObject) {
    part.fvf |= kFvfDiffuse;
    part.colors.assign(vertexCount, 0x00FFFFFFu);
    ValueReader c(tree, *colorObject);
    const std::uint32_t n = c.count("nVertexColors", 5);
    for (std::uint32_t i = 0; i < n; ++i) {
      const std::uint32_t index = c.dword("index");
      const float red = c.number("red"), green = c.number("green"), blue = c.number("blue"), alpha = c.number("alpha");
      if (index >= vertexCount)
        inconsistent("MeshVertexColors entry " + std::to_string(i) + " names vertex " + std::to_string(index) +
                     " of " + std::to_string(vertexCount));
      part.colors[index] = colorWord(red, green, blue, alpha);
    }
    c.finish();
  }

  // Corner i of the file's faces becomes vertex remap[i].
  std::vector<std::uint32_t> remap(faces.corners);
  if (normalsObject) {
    part.fvf |= kFvfNormal;
    const Normals normals = readNormals(tree, *normalsObject, faces);
    part.normals.assign(static_cast<std::size_t>(vertexCount) * 3, 0.0f);
    std::vector<std::uint8_t> fixed(vertexCount, 0);
    std::vector<std::uint32_t> nextCopy(vertexCount, XTree::kUnresolved);
    for (std::size_t i = 0; i < faces.corners.size(); ++i) {
      const std::uint32_t p = faces.corners[i];
      const float* n = &normals.vectors[3 * static_cast<std::size_t>(normals.faces.corners[i])];
      if (!fixed[p]) {
        fixed[p] = 1;
        std::copy(n, n + 3, &part.normals[3 * static_cast<std::size_t>(p)]);
        continue;
      }
      std::uint32_t v = p, last = p;
      for (; v != XTree::kUnresolved; last = v, v = nextCopy[v])
        if (sameNormal(&part.normals[3 * static_cast<std::size_t>(v)], n)) break;
      if (v == XTree::kUnresolved) {
        v = static_cast<std::uint32_t>(nextCopy.size());
        nextCopy[last] = v;
        nextCopy.push_back(XTree::kUnresolved);
        for (int k = 0; k < 3; ++k) part.positions.push_back(part.positions[3 * static_cast<std::size_t>(p) + k]);
        part.normals.insert(part.normals.end(), n, n + 3);
        if (!part.colors.empty()) part.colors.push_back(part.colors[p]);
        if (!part.texCoords.empty()) {
          part.texCoords.push_back(part.texCoords[2 * static_cast<std::size_t>(p)]);
          part.texCoords.push_back(part.texCoords[2 * static_cast<std::size_t>(p) + 1]);
        }
      }
      remap[i] = v;
    }
  }
  part.vertexCount = static_cast<std::uint32_t>(part.positions.size() / 3);

  std::vector<std::uint32_t> faceMaterial;
  if (materialObject) {
    ValueReader m(tree, *materialObject);
    const std::uint32_t materialCount = m.dword("nMaterials");
    const std::uint32_t indexCount = m.count("nFaceIndexes", 1);
    if (indexCount > faces.faceCount())
      inconsistent("MeshMaterialList has " + std::to_string(indexCount) + " face indexes for " +
                   std::to_string(faces.faceCount()) + " faces");
    faceMaterial.resize(faces.faceCount(), 0);
    for (std::uint32_t f = 0; f < indexCount; ++f) {
      const std::uint32_t index = m.dword("faceIndexes");
      if (materialCount > 0 && index >= materialCount)
        inconsistent("MeshMaterialList face " + std::to_string(f) + " names material " + std::to_string(index) +
                     " of " + std::to_string(materialCount));
      faceMaterial[f] = materialCount > 0 ? index : 0;
    }
    m.finish();
    if (indexCount > 0)
      std::fill(faceMaterial.begin() + indexCount, faceMaterial.end(), faceMaterial[indexCount - 1]);
    for (std::uint32_t child : tree.childrenOf(*materialObject)) {
      if (child == XTree::kUnresolved) continue;
      const XObject& c = tree.objects[child];
      if (c.role == XRole::Material) part.materials.push_back(readMaterial(tree, c));
    }
    if (part.materials.size() != materialCount)
      inconsistent("MeshMaterialList states " + std::to_string(materialCount) + " materials and holds " +
                   std::to_string(part.materials.size()));
  }

  std::size_t triangleCount = 0;
  for (std::uint32_t f = 0; f < faces.faceCount(); ++f) triangleCount += faces.cornerCount(f) - 2;
  part.triangles.reserve(triangleCount * 3);
  part.attributes.reserve(triangleCount);
  for (std::uint32_t f = 0; f < faces.faceCount(); ++f) {
    const std::uint32_t* c = &remap[faces.start[f]];
    const std::uint32_t attribute = faceMaterial.empty() ? 0 : faceMaterial[f];
    for (std::uint32_t k = 1; k + 1 < faces.cornerCount(f); ++k) {
      part.triangles.insert(part.triangles.end(), {c[0], c[k], c[k + 1]});
      part.attributes.push_back(attribute);
    }
  }

  if (!std::is_sorted(part.attributes.begin(), part.attributes.end())) {
    std::vector<std::uint32_t> order(part.attributes.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return part.attributes[a] < part.attributes[b]; });
    std::vector<std::uint32_t> triangles(part.triangles.size()), attributes(part.attributes.size());
    for (std::size_t t = 0; t < order.size(); ++t) {
      attributes[t] = part.attributes[order[t]];
      std::copy_n(&part.triangles[3 * static_cast<std::size_t>(order[t])], 3, &triangles[3 * t]);
    }
    part.triangles = std::move(triangles);
    part.attributes = std::move(attributes);
  }
  return part;
}

}  // namespace vellmark::d3d
