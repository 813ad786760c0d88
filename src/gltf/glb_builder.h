// A binary glTF file put together piece by piece: data appended to one buffer as views,
// accessors over them, and at the end one mesh on one node of the default scene.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "gltf/tinygltf_config.h"

namespace vellmark {

class GlbBuilder {
 public:
  GlbBuilder();
  // Appends `size` bytes (4-byte aligned) as a new buffer view; target 0 for none.
  int view(const void* data, std::size_t size, int target = 0);
  int accessor(int bufferView, std::size_t count, int componentType, int type);
  tinygltf::Model& model() { return model_; }
  // The .glb of everything added and `mesh` on the scene's one node; a mesh without
  // primitives (which glTF forbids) leaves the scene empty. Error(Io) if the library fails.
  std::vector<std::uint8_t> finish(tinygltf::Mesh mesh);

 private:
  tinygltf::Model model_;
  std::vector<unsigned char> bytes_;
};

}  // namespace vellmark
