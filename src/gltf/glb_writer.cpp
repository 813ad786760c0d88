#include "gltf/glb_writer.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <tuple>

#include "base/error.h"
#include "gltf/tinygltf_config.h"
#include "image/image_file.h"

namespace vellmark {

namespace {

class GlbBuilder {
 public:
  GlbBuilder() { model_.asset.version = "2.0"; model_.asset.generator = "vellmark"; }

  int view(const void* data, std::size_t size, int target) {
    while (bytes_.size() % 4) bytes_.push_back(0);
    tinygltf::BufferView v;
    v.buffer = 0;
    v.byteOffset = bytes_.size();
    v.byteLength = size;
    v.target = target;
    const auto* p = static_cast<const unsigned char*>(data);
    bytes_.insert(bytes_.end(), p, p + size);
    model_.bufferViews.push_back(v);
    return static_cast<int>(model_.bufferViews.size() - 1);
  }
  int accessor(int bufferView, std::size_t count, int componentType, int type) {
    tinygltf::Accessor a;
    a.bufferView = bufferView;
    a.count = count;
    a.componentType = componentType;
    a.type = type;
    model_.accessors.push_back(a);
    return static_cast<int>(model_.accessors.size() - 1);
  }
  tinygltf::Model& model() { return model_; }

  std::vector<std::uint8_t> finish() {
    tinygltf::Buffer buffer;
    buffer.data = std::move(bytes_);
    model_.buffers.push_back(std::move(buffer));
    std::ostringstream out;
    tinygltf::TinyGLTF writer;
    if (!writer.WriteGltfSceneToStream(&model_, out, false, true)) fail(ErrorKind::Io, "glTF: the .glb could not be written");
    const std::string s = out.str();
    return {s.begin(), s.end()};
  }

 private:
  tinygltf::Model model_;
  std::vector<unsigned char> bytes_;
};

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
  m.scenes.push_back({});
  m.defaultScene = 0;
  // glTF forbids a mesh without primitives: an object without faces is an empty scene.
  if (!mesh.primitives.empty()) {
    m.meshes.push_back(mesh);
    tinygltf::Node node;
    node.mesh = 0;
    m.nodes.push_back(node);
    m.scenes[0].nodes = {0};
  }
  return b.finish();
}

}  // namespace vellmark
