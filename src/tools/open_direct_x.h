// OpenDirectX: one .x mesh in, the game's .XYZ and .MAP files out.
#pragma once

#include <string>
#include <vector>

#include "tools/mesh_layer.h"
#include "base/host.h"

namespace vellmark {

inline constexpr std::uint32_t kMeshLoadOptions = 0x110;  // vertex and index buffers in system memory
inline constexpr char kHiddenWindowClass[] = "dxwind";

// The device the exporter asks for, exactly as the game's tool does.
d3d::DeviceRequest meshDeviceRequest();

struct MeshOutputNames {
  std::string xyz, map;
};
// outputDir + stem + ".XYZ"/".MAP", where stem is the mesh path from its last separator
// (kept) up to the last ".X" (case-sensitive); a path without a separator is taken whole,
// a name without ".X" keeps its whole name (tree.x gives tree.x.XYZ).
MeshOutputNames meshOutputNames(const std::string& meshPath, const std::string& outputDir);

// The whole tool: window and device, load, XYZ image, names, both "Attempting to Write"
// boxes and files, teardown. A failed set-up or load shows its box and ends the process
// with status 1 through the host, and so does a compressed chunk of the .MAP file that
// cannot be written (after printing "Output file write error").
//
// The .MAP file's textures come from the materials, with the boxes and stops of the game's
// writer: a material without a texture stops it ("Missing texture in object"), an
// extension other than ".tga" stops it after two boxes, a texture that cannot be read is
// skipped ("Cannot read Texture"). A texture that does not exist is asked for with the
// open-file dialog; hosts without one keep the path. An output file that cannot be created
// is passed over silently, before any of those boxes.
//
// `search` picks where textures are looked for. The game's rule (the default) reads the path
// as the material names it, from the working folder, and asks with the dialog when it is
// missing. With besideModel, as the program does, the path is tried as named, then beside
// the model (in modelFolder), then by its base name beside the model, so that absolute
// paths from another machine resolve; one that still cannot be read is named with every
// place tried on the host's error output before the usual box.
struct TextureSearch {
  bool besideModel = false;
  std::string modelFolder;
};
// The places the program's rule tries for a texture the mesh names, in order: the path as
// named, the same path beside the model, its base name beside the model. Either separator
// counts in the name, so that paths written on Windows resolve elsewhere too.
std::vector<std::string> textureCandidates(const std::string& named, const std::string& modelFolder);

void openDirectX(Host& host, d3d::MeshLayer& layer, const std::string& meshPath, const std::string& outputDir,
                 const TextureSearch& search = {});

}  // namespace vellmark
