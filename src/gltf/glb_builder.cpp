#include "gltf/glb_builder.h"

#include <sstream>
#include <string>

#include "base/error.h"

namespace vellmark {

GlbBuilder::GlbBuilder() {
  model_.asset.version = "2.0";
  model_.asset.generator = "vellmark";
}

int GlbBuilder::view(const void* data, std::size_t size, int target) {
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

int GlbBuilder::accessor(int bufferView, std::size_t count, int componentType, int type) {
  tinygltf::Accessor a;
  a.bufferView = bufferView;
  a.count = count;
  a.componentType = componentType;
  a.type = type;
  model_.accessors.push_back(a);
  return static_cast<int>(model_.accessors.size() - 1);
}

std::vector<std::uint8_t> GlbBuilder::finish(tinygltf::Mesh mesh) {
  tinygltf::Buffer buffer;
  buffer.data = std::move(bytes_);
  model_.buffers.push_back(std::move(buffer));
  model_.scenes.push_back({});
  model_.defaultScene = 0;
  // glTF forbids a mesh without primitives: an object without faces is an empty scene.
  if (!mesh.primitives.empty()) {
    model_.meshes.push_back(std::move(mesh));
    tinygltf::Node node;
    node.mesh = 0;
    model_.nodes.push_back(node);
    model_.scenes[0].nodes = {0};
  }
  std::ostringstream out;
  tinygltf::TinyGLTF writer;
  if (!writer.WriteGltfSceneToStream(&model_, out, false, true)) fail(ErrorKind::Io, "glTF: the .glb could not be written");
  const std::string s = out.str();
  return {s.begin(), s.end()};
}

}  // namespace vellmark
