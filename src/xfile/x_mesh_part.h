// One Mesh object of a .x file turned into what the loader merges: vertices with the
// components the mesh has, triangles, per-triangle material numbers and the materials.
//
// Rules (those of the Direct3D 9 extension library's loader):
// - polygons become triangle fans (v0, vi, vi+1) in file order;
// - with normals, the first corner that uses a position fixes that vertex's normal; a later
//   corner with another normal value takes an earlier copy of the vertex with that normal,
//   or a new copy appended after all vertices, in corner order;
// - normals are normalised; vertex colours become 32-bit ARGB words, white with alpha 0 for
//   vertices without a colour entry;
// - a material list shorter than the faces gives the remaining faces its last index;
// - triangles are sorted by material number, keeping the order of equal ones.
#pragma once

#include <cstdint>
#include <vector>

#include "xfile/mesh.h"
#include "xfile/x_tree.h"

namespace vellmark::d3d {

struct MeshPart {
  std::uint32_t fvf = kFvfXyz;
  std::uint32_t vertexCount = 0;
  std::vector<float> positions;          // 3 per vertex
  std::vector<float> normals;            // 3 per vertex, when fvf has kFvfNormal
  std::vector<std::uint32_t> colors;     // 1 per vertex, when fvf has kFvfDiffuse
  std::vector<float> texCoords;          // 2 per vertex, when fvf has kFvfTex1
  std::vector<std::uint32_t> triangles;  // 3 per triangle, indices into this part's vertices
  std::vector<std::uint32_t> attributes; // 1 per triangle, into `materials`
  std::vector<Material> materials;       // empty when the mesh has no material list
};

// Builds the part of `mesh` (an object of role Mesh). Raises Error with result code kParseError when
// the object's values do not fit the Mesh template or its children's, kFail when they are
// inconsistent (an index out of range, a face with fewer than 3 corners, counts that
// disagree).
MeshPart buildMeshPart(const XTree& tree, const XObject& mesh);

// The Direct3D colour word of a colour component quadruple: each component clamped to
// [0, 1], times 255 in single precision, plus one half, truncated.
std::uint32_t colorWord(float r, float g, float b, float a);

// The material that stands in when a file gives none.
Material defaultMaterial();

}  // namespace vellmark::d3d
