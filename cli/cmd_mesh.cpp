// mesh: a DirectX .x mesh to the game's geometry and texture files, exactly as the game's
// tool makes them; model: the same from .x or glTF models with textures in any format.
#include <memory>

#include "cli/commands.h"
#include "cli/output_paths.h"
#include "base/error.h"
#include "base/input_file.h"
#include "base/ordered_parallel.h"
#include "base/paths.h"
#include "tools/mesh_layer.h"
#include "tools/convert_model.h"
#include "tools/export_gltf.h"
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

struct ModelArgs {
  std::string model, outputDir;
  unsigned threads = 0;
};

int runModel(ProgramHost& host, const ModelArgs& a) {
  (void)readInput(a.model);  // an input that cannot be read is a usage error
  const std::string folder = prepareOutputFolder(a.outputDir);
  ModelSummary summary;
  try {
    summary = convertModel(host, a.model, folder, a.threads == 0 ? defaultThreadCount() : a.threads);
  } catch (const Error& e) {
    throw OutputError("'" + a.model + "': " + e.what());
  }
  const ModelOutputNames names = modelOutputNames(a.model, folder);
  host.print("'" + names.xyz + "' and '" + names.map + "': " + std::to_string(summary.vertices) + " vertices, " +
             std::to_string(summary.triangles) + " triangles, " + std::to_string(summary.materials) + " materials\n");
  return 0;
}

struct GltfArgs {
  std::vector<std::string> paths;  // XYZ [MAP] OUT
  bool noTextures = false;
};

int runGltf(ProgramHost& host, const GltfArgs& a) {
  if (a.paths.size() < 2 || a.paths.size() > 3) fail(ErrorKind::Argument, "gltf takes NAME.XYZ [NAME.MAP] OUT.glb");
  const std::string& xyz = a.paths.front();
  const std::string& out = a.paths.back();
  (void)readInput(xyz);
  std::optional<std::string> map;
  if (a.paths.size() == 3) {
    map = a.paths[1];
    (void)readInput(*map);
  } else if (!a.noTextures) {
    map = mapBeside(xyz);
    if (map) host.printError("vellmark: note: textures from '" + *map + "'\n");
  }
  GltfExportSummary summary;
  try {
    summary = exportGltf(xyz, map, out);
  } catch (const Error& e) {
    throw OutputError("'" + xyz + "': " + e.what());
  }
  host.print("'" + out + "': " + std::to_string(summary.triangles) + " triangles, " + std::to_string(summary.pictures) +
             " textures\n");
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

  auto o = std::make_shared<ModelArgs>();
  CLI::App* model = addSubcommand(
      app, "model", nullptr, "a .x or glTF model to the game's .XYZ and .MAP files",
      "Writes OUTPUT_DIR/NAME.XYZ and OUTPUT_DIR/NAME.MAP of a DirectX .x, glTF (.gltf) or binary glTF (.glb) "
      "model, NAME being its file name without the extension. A .x with TGA textures gives the same files as "
      "`mesh`. Textures may be PNG, JPEG, BMP or any TGA; a material without one gets its colour. glTF models: "
      "every node of the default scene with its transform; triangle, strip and fan primitives (others are left "
      "out with a note); the base-colour texture of each material, from the .glb, a data URI or a file beside "
      "the model. glTF is right-handed and the game left-handed: z is negated and each triangle's winding "
      "reversed. More than 65,535 vertices or a texture side above 32,767 is refused, and then nothing is "
      "written.",
      "vellmark model models/flag.glb objects/");
  model->add_option("MODEL", o->model, "the model: .x, .gltf or .glb")->required();
  model->add_option("OUTPUT_DIR", o->outputDir, "the folder NAME.XYZ and NAME.MAP go into (made when missing)")
      ->required();
  model->add_option("-j,--threads", o->threads, "threads decoding textures (default: one per core, at most 8)");
  registry.push_back({model, [o](ProgramHost& h) { return runModel(h, *o); }});

  auto g = std::make_shared<GltfArgs>();
  CLI::App* gltf = addSubcommand(
      app, "gltf", nullptr, "the game's .XYZ and .MAP files as a binary glTF model",
      "Writes OUT.glb, a glTF 2.0 binary file of one of the game's objects: its triangles with positions and "
      "texture coordinates, one primitive per material, and each material's largest picture from the .MAP as "
      "an embedded PNG (the see-through magenta as transparent). Without NAME.MAP, the .MAP of the same name "
      "beside the .XYZ is used when there is one (--no-textures: none). The game's coordinates are "
      "left-handed and glTF's right-handed: z is negated and each triangle's winding reversed, the reverse of "
      "`model`. Blender, browser viewers and every glTF tool open the result.",
      "vellmark gltf objects/barrel.XYZ objects/barrel.MAP barrel.glb");
  gltf->add_option("FILES", g->paths, "NAME.XYZ, optionally NAME.MAP, and OUT.glb")->required()->expected(2, 3);
  gltf->add_flag("--no-textures", g->noTextures, "leave the .MAP beside the .XYZ out");
  registry.push_back({gltf, [g](ProgramHost& h) { return runGltf(h, *g); }});
}

}  // namespace vellmark::cli
