// The .XYZ and .MAP readers, the LZW decoder and the glTF writer on any bytes, read both as
// an .XYZ and as a .MAP file. What is read must stay inside its arrays, and a level that
// decodes has exactly the pixels it declares.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "base/error.h"
#include "gltf/glb_writer.h"
#include "mesh/map_reader.h"
#include "mesh/xyz_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  std::optional<vellmark::XyzObject> object;
  try {
    object = vellmark::readXyzFile(copy);
  } catch (const vellmark::Error&) {
  }
  if (object) {
    for (const auto& face : object->faces)
      for (std::uint32_t corner : face.corners)
        if (corner >= object->cornerVertices.size()) std::abort();
    for (std::uint16_t v : object->cornerVertices)
      if (v >= object->positions.size()) std::abort();
    if (object->faces.size() < 20000) (void)vellmark::writeGlb(*object, {});
  }
  try {
    const vellmark::MapDirectory directory = vellmark::readMapDirectory(copy);
    std::vector<std::optional<vellmark::MapPicture>> pictures;
    for (const auto& levels : directory.materials) {
      for (std::uint32_t level : levels) {
        if (level >= directory.levels.size()) std::abort();
        try {
          const vellmark::MapPicture picture = vellmark::readMapLevel(copy, directory, level);
          if (picture.indices.size() != std::uint64_t{picture.width} * picture.height) std::abort();
          if (pictures.size() < 2) pictures.push_back(picture);
        } catch (const vellmark::Error&) {
        }
      }
    }
    if (object && object->faces.size() < 20000) (void)vellmark::writeGlb(*object, pictures);
  } catch (const vellmark::Error&) {
  }
  return 0;
}
