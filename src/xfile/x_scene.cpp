#include "xfile/x_scene.h"

#include <array>
#include <cstring>
#include <map>
#include <string>

#include "xfile/x_error.h"
#include "xfile/x_mesh_part.h"
#include "xfile/x_values.h"

namespace vellmark::d3d {

namespace {

using Matrix = std::array<float, 16>;  // row-major, row vectors: v' = v * M

constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

Matrix multiply(const Matrix& a, const Matrix& b) {
  Matrix c{};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      c[4 * i + j] = a[4 * i] * b[j] + a[4 * i + 1] * b[4 + j] + a[4 * i + 2] * b[8 + j] + a[4 * i + 3] * b[12 + j];
  return c;
}

Matrix readMatrix(const XTree& tree, const XObject& object) {
  ValueReader r(tree, object);
  Matrix m;
  for (float& v : m) v = r.number("frameMatrix");
  r.finish();
  return m;
}

struct Placement {
  std::uint32_t meshObject;
  Matrix world;
};

class SceneWalker {
 public:
  explicit SceneWalker(const XTree& tree) : tree_(tree) {}

  std::vector<Placement> walk() {
    for (std::uint32_t index : tree_.topLevel) {
      const XObject& o = tree_.objects[index];
      if (o.role == XRole::Mesh) placements_.push_back({index, kIdentity});
      if (o.role == XRole::Frame) walkFrame(o, kIdentity);
    }
    return std::move(placements_);
  }

 private:
  void walkFrame(const XObject& frame, const Matrix& parent) {
    Matrix world = parent;
    Matrix local = kIdentity;
    for (std::uint32_t child : tree_.childrenOf(frame)) {
      if (child == XTree::kUnresolved) continue;
      const XObject& c = tree_.objects[child];
      switch (c.role) {
        case XRole::FrameTransformMatrix:
          local = multiply(local, readMatrix(tree_, c));
          world = multiply(local, parent);
          break;
        case XRole::Mesh:
          placements_.push_back({child, world});
          break;
        case XRole::Frame:
          walkFrame(c, world);
          break;
        default:
          break;
      }
    }
  }

  const XTree& tree_;
  std::vector<Placement> placements_;
};

void storeFloats(std::uint8_t* out, const float* values, int count) { std::memcpy(out, values, sizeof(float) * count); }

}  // namespace

LoadedMesh buildLoadedMesh(const XTree& tree) {
  const std::vector<Placement> placements = SceneWalker(tree).walk();

  // Each Mesh object is built once, however often frames refer to it.
  std::map<std::uint32_t, MeshPart> parts;
  std::uint64_t vertexTotal = 0, triangleTotal = 0;
  std::uint32_t fvf = kFvfXyz;
  bool anyMaterials = false;
  std::vector<const Placement*> used;
  for (const Placement& p : placements) {
    auto it = parts.find(p.meshObject);
    if (it == parts.end()) it = parts.emplace(p.meshObject, buildMeshPart(tree, tree.objects[p.meshObject])).first;
    const MeshPart& part = it->second;
    if (part.vertexCount == 0) continue;
    used.push_back(&p);
    vertexTotal += part.vertexCount;
    triangleTotal += part.attributes.size();
    if (triangleTotal > kMaxTriangles)
      failX(kOutOfMemory, "the merged mesh has more than " + std::to_string(kMaxTriangles) + " triangles");
    fvf |= part.fvf;
    anyMaterials = anyMaterials || !part.materials.empty();
  }
  if (used.empty()) failX(kFail, "the file holds no mesh with vertices");
  // Checked after the walk so that the message gives the whole count, which tells a modder how far
  // to cut the model down; the parts are built either way and each is bounded by the file's size.
  if (vertexTotal > kMaxVertices)
    throw Error(ErrorKind::Unsupported,
                "the merged mesh has " + std::to_string(vertexTotal) + " vertices, more than the " +
                    std::to_string(kMaxVertices) + " that 16-bit indices can address",
                kInvalidCall);

  LoadedMesh out;
  MeshData& mesh = out.mesh;
  mesh.fvf = fvf;
  mesh.stride = fvfStride(fvf);
  mesh.vertexCount = static_cast<std::uint32_t>(vertexTotal);
  mesh.vertices.assign(static_cast<std::size_t>(vertexTotal) * mesh.stride, 0);
  mesh.indices.reserve(static_cast<std::size_t>(triangleTotal) * 3);
  mesh.attributes.reserve(static_cast<std::size_t>(triangleTotal));
  const std::uint32_t normalAt = 12;
  const std::uint32_t colorAt = 12 + ((fvf & kFvfNormal) ? 12 : 0);
  const std::uint32_t uvAt = colorAt + ((fvf & kFvfDiffuse) ? 4 : 0);
  if (!anyMaterials) out.materials.push_back(defaultMaterial());

  std::uint32_t vertexBase = 0;
  for (const Placement* p : used) {
    const MeshPart& part = parts.at(p->meshObject);
    const Matrix& m = p->world;
    const bool identity = m == kIdentity;
    for (std::uint32_t v = 0; v < part.vertexCount; ++v) {
      std::uint8_t* out = &mesh.vertices[static_cast<std::size_t>(vertexBase + v) * mesh.stride];
      const float* pos = &part.positions[3 * static_cast<std::size_t>(v)];
      if (identity) {
        storeFloats(out, pos, 3);
      } else {
        float t[3];
        for (int j = 0; j < 3; ++j) t[j] = pos[0] * m[j] + pos[1] * m[4 + j] + pos[2] * m[8 + j] + m[12 + j];
        const float w = pos[0] * m[3] + pos[1] * m[7] + pos[2] * m[11] + m[15];
        if (w != 1.0f && w != 0.0f)
          for (float& x : t) x /= w;
        storeFloats(out, t, 3);
      }
      if (part.fvf & kFvfNormal) {
        const float* n = &part.normals[3 * static_cast<std::size_t>(v)];
        if (identity) {
          storeFloats(out + normalAt, n, 3);
        } else {
          float t[3];
          for (int j = 0; j < 3; ++j) t[j] = n[0] * m[j] + n[1] * m[4 + j] + n[2] * m[8 + j];
          storeFloats(out + normalAt, t, 3);
        }
      }
      if (fvf & kFvfDiffuse) {
        const std::uint32_t color = (part.fvf & kFvfDiffuse) ? part.colors[v] : 0x00FFFFFFu;
        std::memcpy(out + colorAt, &color, 4);
      }
      if (part.fvf & kFvfTex1) storeFloats(out + uvAt, &part.texCoords[2 * static_cast<std::size_t>(v)], 2);
    }
    for (std::uint32_t index : part.triangles) mesh.indices.push_back(static_cast<std::uint16_t>(vertexBase + index));

    const auto materialBase = static_cast<std::uint32_t>(out.materials.size());
    if (anyMaterials && part.materials.empty()) {
      // A mesh without materials among meshes with some gets the stand-in material of its own.
      out.materials.push_back(defaultMaterial());
      mesh.attributes.insert(mesh.attributes.end(), part.attributes.size(), materialBase);
    } else {
      out.materials.insert(out.materials.end(), part.materials.begin(), part.materials.end());
      for (std::uint32_t a : part.attributes) mesh.attributes.push_back((anyMaterials ? materialBase : 0) + a);
    }
    vertexBase += part.vertexCount;
  }
  return out;
}

}  // namespace vellmark::d3d
