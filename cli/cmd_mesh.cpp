// mesh: a DirectX .x mesh to the game's geometry and texture files.
#include <memory>

#include "cli/commands.h"
#include "cli/output_paths.h"
#include "base/input_file.h"
#include "base/paths.h"
#include "tools/mesh_layer.h"
#include "tools/messages.h"
#include "tools/open_direct_x.h"

namespace vellmark::cli {

namespace {

struct MeshArgs {
  std::string mesh, outputDir;
};

// The folder of the mesh file as the tool's paths spell it ("" for a bare name).
std::string modelFolder(const std::string& mesh) {
  const auto cut = mesh.find_last_of(kPathSeparator == '/' ? "/" : "/\\");
  return cut == std::string::npos ? std::string() : mesh.substr(0, cut);
}

int runMesh(ProgramHost& host, const MeshArgs& a) {
  // The tool puts the mesh's name part, separator included, right behind the folder.
  const std::string mesh = toolPath(a.mesh);
  // A folder, FIFO or device is a usage error, not a mesh the tool failed to load.
  (void)InputFile(a.mesh);
  const std::string folder = prepareOutputFolder(a.outputDir);
  const MeshOutputNames names = meshOutputNames(mesh, folder);
  const auto xyzBefore = stampOf(names.xyz), mapBefore = stampOf(names.map);
  try {
    openDirectX(host, d3d::portableMeshLayer(), mesh, folder, {true, modelFolder(mesh)});
  } catch (const ToolExit&) {
    // The tool ends the process with 1 after its set-up or load box; name the mesh as well.
    const auto errors = host.takeErrors();
    throw OutputError("'" + a.mesh + "': " + (errors.empty() ? std::string("the tool gave up") : errors.front()));
  }
  requireWritten(names.xyz, xyzBefore);
  auto errors = host.takeErrors();
  // A material without any texture is the mesh's own content, not a file the tool failed to
  // read: its box has said so, and the MAP file holds no textures.
  const std::string noTexture = std::string(messages::kMapErrorCaption) + ": " + messages::kMissingTextureText;
  if (errors.size() == 1 && errors.front() == noTexture) errors.clear();
  if (!errors.empty()) throw OutputError("'" + names.map + "' is incomplete: " + errors.front());
  requireWritten(names.map, mapBefore);
  return 0;
}

}  // namespace

void addMeshCommand(CLI::App& app, Registry& registry) {
  auto m = std::make_shared<MeshArgs>();
  CLI::App* sub = addSubcommand(
      app, "mesh", "OpenDirectX", "DirectX .x mesh to the game's .XYZ and .MAP files",
      "Writes OUTPUT_DIR/NAME.XYZ (geometry) and OUTPUT_DIR/NAME.MAP (textures) of a DirectX .x mesh, NAME "
      "being the mesh's file name up to its last \".X\" (tree.X gives tree, tree.x gives tree.x). Textures are "
      "looked for at the paths the mesh's materials name, then beside the mesh, then by file name beside the "
      "mesh (so that absolute paths written on another machine resolve); one that cannot be read is named, "
      "shows \"MAP File Creation Error\" and fails.",
      "vellmark mesh models/tree.X meshes/");
  sub->add_option("MESH_X", m->mesh, "the .x mesh (text, binary or compressed)")->required();
  sub->add_option("OUTPUT_DIR", m->outputDir, "the folder NAME.XYZ and NAME.MAP go into (made when missing)")
      ->required();
  registry.push_back({sub, [m](ProgramHost& h) { return runMesh(h, *m); }});
}

}  // namespace vellmark::cli
