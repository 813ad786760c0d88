// The game's .XYZ geometry files read back: positions, faces with their material numbers and
// corners, and each corner's texture coordinates.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

struct XyzObject {
  struct Face {
    std::uint16_t material = 0;
    std::array<std::uint32_t, 3> corners{};  // places in `cornerVertices` and `cornerUvs`
  };
  std::vector<std::array<float, 3>> positions;
  std::vector<std::uint16_t> cornerVertices;    // a vertex number per corner
  std::vector<std::array<float, 2>> cornerUvs;  // u, v per corner
  std::vector<Face> faces;                      // triangles; larger faces come as fans
};

// Reads the header's counts and offsets and what they point at. Faces of more than three
// corners are split into triangles as fans. Raises Error(Corrupt) naming what is wrong: an
// offset or count that runs past the file, a face whose corners run past the corner list,
// a corner naming a vertex past the positions.
XyzObject readXyzFile(Bytes file);

}  // namespace vellmark
