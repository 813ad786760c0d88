// The .x loader on any bytes: text, binary and MSZIP-compressed bodies (the seeds hold each
// kind). A load either fails with a code or gives a mesh whose indices and attributes stay
// inside its vertex and material arrays.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "xfile/x_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  vellmark::d3d::LoadedMesh loaded;
  try {
    loaded = vellmark::d3d::loadXFile(copy);
  } catch (const vellmark::Error& e) {
    if (e.resultCode() == 0) std::abort();  // every failure of the loader carries its code
    return 0;
  }
  const auto& mesh = loaded.mesh;
  if (mesh.vertexCount == 0 || mesh.vertexCount > 65535) std::abort();
  if (mesh.vertices.size() != static_cast<std::size_t>(mesh.vertexCount) * mesh.stride) std::abort();
  if (mesh.indices.size() != mesh.attributes.size() * 3) std::abort();
  for (std::uint16_t index : mesh.indices)
    if (index >= mesh.vertexCount) std::abort();
  for (std::uint32_t attribute : mesh.attributes)
    if (attribute >= loaded.materials.size()) std::abort();
  return 0;
}
