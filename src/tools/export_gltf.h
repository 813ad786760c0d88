// gltf: one of the game's objects (.XYZ geometry and its .MAP textures) as a binary glTF
// file that viewers and modelling tools open.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/host.h"

namespace vellmark {

struct GltfExportSummary {
  std::size_t triangles = 0, materials = 0, pictures = 0;
};

// Reads the .XYZ at `xyzPath` and, when given, the .MAP at `mapPath` (each material's
// largest level becomes its picture), and writes `outPath`. Raises Error for an input that
// cannot be read or is broken, Error(Io) when the output cannot be written.
GltfExportSummary exportGltf(const std::string& xyzPath, const std::optional<std::string>& mapPath, const std::string& outPath);

// The .MAP beside an .XYZ: the same name with ".MAP" or ".map", when there is one.
std::optional<std::string> mapBeside(const std::string& xyzPath);

}  // namespace vellmark
