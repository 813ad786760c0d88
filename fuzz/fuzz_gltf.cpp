// The glTF loader on any bytes, text or binary (the seeds hold both). A load either fails
// with an Error or gives a mesh within the game's limits whose indices and materials stay
// inside its arrays. Files the model names are served as one small buffer, so that the
// external-file path is taken too.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/error.h"
#include "gltf/gltf_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  const auto fetch = [](const std::string& uri) -> std::optional<std::vector<std::uint8_t>> {
    if (uri.size() % 2) return std::nullopt;
    return std::vector<std::uint8_t>(64, 0x3F);
  };
  vellmark::GltfModel model;
  try {
    model = vellmark::loadGltfModel(copy, fetch);
  } catch (const vellmark::Error&) {
    return 0;
  }
  const auto& mesh = model.mesh.mesh;
  if (mesh.vertexCount > vellmark::kModelMaxVertices) std::abort();
  if (mesh.vertices.size() != static_cast<std::size_t>(mesh.vertexCount) * mesh.stride) std::abort();
  if (mesh.indices.size() != mesh.attributes.size() * 3) std::abort();
  for (std::uint16_t index : mesh.indices)
    if (index >= mesh.vertexCount) std::abort();
  for (std::size_t i = 1; i < mesh.attributes.size(); ++i)
    if (mesh.attributes[i] < mesh.attributes[i - 1]) std::abort();  // grouped by material
  for (std::uint32_t attribute : mesh.attributes)
    if (attribute >= model.mesh.materials.size()) std::abort();
  if (model.pictures.size() != model.mesh.materials.size()) std::abort();
  return 0;
}
