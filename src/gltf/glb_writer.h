// The game's objects as binary glTF 2.0, for any viewer or modelling tool to open.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mesh/map_reader.h"
#include "mesh/xyz_reader.h"

namespace vellmark {

// A .glb of `object`: one primitive per material number its faces use, in that order, with
// positions and per-corner texture coordinates. The game is left-handed and glTF
// right-handed: z is negated and each triangle's second and third corners swap, the reverse of
// what `model` does. Corners that share a vertex and texture coordinates share a glTF vertex.
// Material n shows pictures[n] as an embedded paletted PNG when there is one (see-through
// pixels with alpha masking), a plain light grey otherwise. Raises Error(Unsupported) when a picture is
// too large to encode.
std::vector<std::uint8_t> writeGlb(const XyzObject& object, const std::vector<std::optional<MapPicture>>& pictures);

}  // namespace vellmark
