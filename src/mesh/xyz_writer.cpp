#include "mesh/xyz_writer.h"

#include <algorithm>
#include <string>

#include "base/byte_reader.h"

namespace vellmark {

std::vector<std::uint8_t> buildXyzImage(const d3d::MeshData& mesh) {
  const std::uint32_t v = mesh.vertexCount;
  const std::uint32_t f = mesh.faceCount();
  const std::uint64_t stride = mesh.stride;
  if (stride < 12 || mesh.vertices.size() / stride < v)
    fail(ErrorKind::Corrupt, "mesh: " + std::to_string(v) + " vertices of " + std::to_string(stride) +
                                 " bytes do not fit its vertex buffer of " + std::to_string(mesh.vertices.size()) +
                                 " bytes");
  if (mesh.indices.size() / 3 < f)
    fail(ErrorKind::Corrupt, "mesh: " + std::to_string(f) + " faces need " + std::to_string(3ull * f) +
                                 " indices, the index buffer holds " + std::to_string(mesh.indices.size()));

  // Sizes as the game computes them: unsigned 32-bit words.
  const std::uint32_t facesAt = kXyzVertexArrayOffset + 12 * v;
  const std::uint32_t indicesAt = facesAt + 12 * f;
  const std::uint32_t uvsAt = facesAt + 18 * f;
  const std::uint32_t endAt = facesAt + 42 * f;

  std::vector<std::uint8_t> out;
  out.reserve(kXyzVertexArrayOffset + 12ull * v + 42ull * f);
  const std::uint32_t header[kXyzHeaderWords] = {endAt, 1, 1, 0, 0, 0, v, kXyzVertexArrayOffset, 3 * f, uvsAt,
                                                 f, facesAt, 3 * f, indicesAt, 0, endAt};
  for (std::uint32_t word : header) appendU32(out, word);
  const std::uint32_t meshBlock[kXyzMeshBlockWords] = {v, 0, 0, 0, f};
  for (std::uint32_t word : meshBlock) appendU32(out, word);

  for (std::uint32_t i = 0; i < v; ++i) {
    const auto* position = &mesh.vertices[i * stride];
    out.insert(out.end(), position, position + 12);
  }
  for (std::uint32_t face = 0; face < f; ++face) {
    appendU16(out, 3);
    appendU16(out, static_cast<std::uint16_t>(3 * face));
    appendU16(out, 0);
    appendU16(out, static_cast<std::uint16_t>(mesh.attributes[face]));
    appendU32(out, 0);
  }
  for (std::uint64_t i = 0; i < 3ull * f; ++i) appendU16(out, mesh.indices[i]);

  const auto uvOffset = d3d::fvfTexCoordOffset(mesh.fvf);
  const bool hasUv = uvOffset && *uvOffset + 8 <= stride;
  for (std::uint64_t i = 0; i < 3ull * f; ++i) {
    const std::int32_t vertex = static_cast<std::int16_t>(mesh.indices[i]);
    if (hasUv && vertex >= 0 && static_cast<std::uint32_t>(vertex) < v) {
      const auto* uv = &mesh.vertices[vertex * stride + *uvOffset];
      out.insert(out.end(), uv, uv + 8);
    } else {
      out.insert(out.end(), 8, 0);
    }
  }
  return out;
}

}  // namespace vellmark
