// The game's .XYZ geometry file: vertex positions, triangles with their material numbers,
// and per-corner texture coordinates, built from the loaded mesh.
#pragma once

#include <cstdint>
#include <vector>

#include "xfile/mesh.h"

namespace vellmark {

inline constexpr std::uint32_t kXyzHeaderWords = 24;
inline constexpr std::uint32_t kXyzMeshBlockWords = 17;
inline constexpr std::uint32_t kXyzVertexArrayOffset = 4 * (kXyzHeaderWords + kXyzMeshBlockWords);  // 164

// The whole .XYZ file of `mesh`. Positions are the first 12 bytes of each vertex; texture
// coordinates come from where the mesh's vertex format puts them, and are 0, 0 for a mesh
// without them. Indices are taken as signed 16-bit, as the game does: a corner whose vertex
// lies outside the vertex buffer (a negative index, or one past the vertex count) gets
// 0, 0 instead of bytes from outside the buffer. Raises Error(Corrupt) when the buffers
// are shorter than the counts say or a vertex is shorter than a position.
std::vector<std::uint8_t> buildXyzImage(const d3d::MeshData& mesh);

}  // namespace vellmark
