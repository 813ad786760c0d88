// The mesh and materials that the .x loader yields and the XYZ/MAP writer consumes: the
// portable view of what the Direct3D 9 extension library's mesh loader returns.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vellmark::d3d {

// Flexible-vertex-format bits (the documented Direct3D 9 values).
inline constexpr std::uint32_t kFvfXyz = 0x002;
inline constexpr std::uint32_t kFvfNormal = 0x010;
inline constexpr std::uint32_t kFvfDiffuse = 0x040;
inline constexpr std::uint32_t kFvfTex1 = 0x100;

struct ColorValue {
  float r = 0, g = 0, b = 0, a = 0;
};

// One material record: the Direct3D 9 material (diffuse, ambient, specular, emissive, power)
// and the texture file name, absent when the file gives none.
struct Material {
  ColorValue diffuse, ambient, specular, emissive;
  float power = 0;
  std::optional<std::string> textureFilename;
};

// One merged mesh with 16-bit indices, as the loader returns it for system-memory buffers.
struct MeshData {
  std::uint32_t fvf = kFvfXyz;
  std::uint32_t stride = 12;                // bytes per vertex, from the FVF
  std::uint32_t vertexCount = 0;
  std::vector<std::uint8_t> vertices;       // vertexCount x stride bytes
  std::vector<std::uint16_t> indices;       // three per triangle
  std::vector<std::uint32_t> attributes;    // one material number per triangle
  std::uint32_t faceCount() const { return static_cast<std::uint32_t>(attributes.size()); }
};

// Bytes per vertex of an FVF made of the bits above (position, normal, colour, one 2-D
// texture coordinate set, in that order).
constexpr std::uint32_t fvfStride(std::uint32_t fvf) {
  return 12 + ((fvf & kFvfNormal) ? 12 : 0) + ((fvf & kFvfDiffuse) ? 4 : 0) + ((fvf & kFvfTex1) ? 8 : 0);
}
// Offset of the u, v floats inside a vertex, or nullopt when the FVF has none.
constexpr std::optional<std::uint32_t> fvfTexCoordOffset(std::uint32_t fvf) {
  if (!(fvf & kFvfTex1)) return std::nullopt;
  return 12 + ((fvf & kFvfNormal) ? 12 : 0) + ((fvf & kFvfDiffuse) ? 4 : 0);
}

struct LoadedMesh {
  MeshData mesh;
  std::vector<Material> materials;  // at least one: the default grey material when the file has none
};

}  // namespace vellmark::d3d
