#include "gltf/glb_writer.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <tuple>

#include "base/error.h"
#include "gltf/glb_builder.h"
#include "image/image_file.h"

namespace vellmark {

namespace {

std::uint32_t bitsOf(float f) {
  std::uint32_t b;
  std::memcpy(&b, &f, 4);
  return b;
}

}  // namespace

std::vector<std::uint8_t> writeGlb(const XyzObject& object, const std::vector<std::optional<MapPicture>>& pictures) {
  GlbBuilder b;
  tinygltf::Model& m = b.model();

  // Vertices: one per distinct position and texture coordinates, z turned back.
  std::map<std::tuple<std::uint16_t, std::uint32_t, std::uint32_t>, std::uint32_t> vertexOf;
  std::vector<float> positions, uvs;
  const auto vertex = [&](std::uint32_t corner) {
    const std::uint16_t v = object.cornerVertices[corner];
    const auto [u, w] = object.cornerUvs[corner];
    const auto [it, added] = vertexOf.try_emplace({v, bitsOf(u), bitsOf(w)}, static_cast<std::uint32_t>(positions.size() / 3));
    if (added) {
      const auto& p = object.positions[v];
      positions.insert(positions.end(), {p[0], p[1], -p[2]});
      uvs.insert(uvs.end(), {u, w});
    }
    return it->second;
  };
  std::map<std::uint16_t, std::vector<std::uint32_t>> trianglesOf;  // material number: corners
  for (const XyzObject::Face& f : object.faces) {
    auto& list = trianglesOf[f.material];
    list.insert(list.end(), {vertex(f.corners[0]), vertex(f.corners[2]), vertex(f.corners[1])});
  }

  tinygltf::Mesh mesh;
  if (!positions.empty()) {
    const std::size_t count = positions.size() / 3;
    const int pos = b.accessor(b.view(positions.data(), 4 * positions.size(), TINYGLTF_TARGET_ARRAY_BUFFER), count,
                               TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3);
    std::vector<double> lo(positions.begin(), positions.begin() + 3), hi = lo;
    for (std::size_t i = 0; i < positions.size(); ++i)
      lo[i % 3] = std::min<double>(lo[i % 3], positions[i]), hi[i % 3] = std::max<double>(hi[i % 3], positions[i]);
    m.accessors[pos].minValues = lo;
    m.accessors[pos].maxValues = hi;
    const int uv = b.accessor(b.view(uvs.data(), 4 * uvs.size(), TINYGLTF_TARGET_ARRAY_BUFFER), count,
                              TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC2);
    const bool narrow = count <= 65535;
    for (const auto& [material, corners] : trianglesOf) {
      int indices;
      if (narrow) {
        std::vector<std::uint16_t> small(corners.begin(), corners.end());
        indices = b.accessor(b.view(small.data(), 2 * small.size(), TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER), small.size(),
                             TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR);
      } else {
        indices = b.accessor(b.view(corners.data(), 4 * corners.size(), TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER), corners.size(),
                             TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT, TINYGLTF_TYPE_SCALAR);
      }
      tinygltf::Primitive p;
      p.attributes = {{"POSITION", pos}, {"TEXCOORD_0", uv}};
      p.indices = indices;
      p.mode = TINYGLTF_MODE_TRIANGLES;
      p.material = static_cast<int>(m.materials.size());
      mesh.primitives.push_back(p);

      tinygltf::Material mat;
      mat.name = "material " + std::to_string(material);
      mat.pbrMetallicRoughness.metallicFactor = 0;
      mat.pbrMetallicRoughness.roughnessFactor = 1;
      if (material < pictures.size() && pictures[material]) {
        const MapPicture& picture = *pictures[material];
        const std::vector<std::uint8_t> png = encodeIndexedPng(picture.width, picture.height, picture.palette, picture.indices);
        tinygltf::Image image;
        image.bufferView = b.view(png.data(), png.size(), 0);
        image.mimeType = "image/png";
        m.images.push_back(image);
        if (m.samplers.empty()) {
          tinygltf::Sampler repeat;
          repeat.wrapS = repeat.wrapT = TINYGLTF_TEXTURE_WRAP_REPEAT;
          m.samplers.push_back(repeat);
        }
        tinygltf::Texture texture;
        texture.source = static_cast<int>(m.images.size() - 1);
        texture.sampler = 0;
        m.textures.push_back(texture);
        mat.pbrMetallicRoughness.baseColorTexture.index = static_cast<int>(m.textures.size() - 1);
        bool seeThrough = false;
        for (std::uint8_t i : picture.indices) seeThrough = seeThrough || picture.palette[4 * i + 3] < 128;
        if (seeThrough) mat.alphaMode = "MASK";
      } else {
        mat.pbrMetallicRoughness.baseColorFactor = {0.8, 0.8, 0.8, 1.0};
      }
      m.materials.push_back(mat);
    }
  }
  return b.finish(std::move(mesh));
}

}  // namespace vellmark
