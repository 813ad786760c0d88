// From the object tree to the one merged mesh the loader returns.
//
// Top-level Mesh objects are taken as they are and top-level Frame objects are walked; all
// other top-level objects (materials, headers, animation, user data) are passed over. Inside
// a frame, children are visited in file order: a FrameTransformMatrix multiplies into the
// frame's matrix and applies to the meshes and frames after it; a Mesh (inline or by
// reference) is taken with the frame's matrix; a Frame is walked with it as its parent's.
// A vertex goes through the innermost frame's matrix first (row vectors, child x parent).
//
// The taken meshes are merged in that order: vertex format the union of theirs, vertices
// one after another (positions transformed, normals turned by the matrix without its
// translation), indices offset by the vertex counts before them, materials concatenated
// and attributes offset by the material counts before them.
#pragma once

#include "xfile/mesh.h"
#include "xfile/x_tree.h"

namespace vellmark::d3d {

// Largest merged vertex count that 16-bit indices can address.
inline constexpr std::uint32_t kMaxVertices = 65535;
// Largest merged triangle count the loader builds.
inline constexpr std::uint32_t kMaxTriangles = 1u << 24;

// Raises Error with result code kFail when the file holds no mesh with vertices, kInvalidCall (kind
// Unsupported, naming the count) when the merged mesh has more than kMaxVertices vertices,
// kOutOfMemory past kMaxTriangles, and what buildMeshPart throws.
LoadedMesh buildLoadedMesh(const XTree& tree);

}  // namespace vellmark::d3d
