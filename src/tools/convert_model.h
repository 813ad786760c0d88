// model: a .x or glTF model to the game's .XYZ and .MAP files, with textures in any picture
// format. The exact tool for .x files is openDirectX; this one shares its writers, so that
// a .x with TGA textures gives the same files, and reports problems instead of asking.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/host.h"

namespace vellmark {

struct ModelOutputNames {
  std::string xyz, map;
};
// outputFolder/NAME.XYZ and .MAP, NAME being the model's file name without its extension.
ModelOutputNames modelOutputNames(const std::string& modelPath, const std::string& outputFolder);

struct ModelSummary {
  std::uint32_t vertices = 0, triangles = 0, materials = 0;
};

// Reads the model at `modelPath` (.x, .gltf or .glb, told apart by content) and its
// textures, and writes both files. Textures of .x materials are looked for as `mesh` does
// (the path as named, beside the model, by file name beside the model); a glTF's external
// files only by relative URI beside the model. A material without a texture gets its colour
// as a 1 x 1 picture. Notes on what was left out go to the host's error output.
//
// Everything is read and checked before either file is written: Error for a model that
// cannot be read (Unsupported beyond the game's limits: more than 65,535 vertices, a
// texture side above 32,767, each named with its number), Error(Io) naming a texture file
// that cannot be found or read, or an output that cannot be written (then neither stays).
ModelSummary convertModel(Host& host, const std::string& modelPath, const std::string& outputFolder, unsigned threads);

}  // namespace vellmark
