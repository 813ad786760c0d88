// glTF 2.0 models (.gltf text or .glb binary) read into the mesh the game's writers take:
// the default scene's triangles with positions and the first texture coordinates, in the
// .x files' left-handed coordinates, and one material per glTF material with its picture.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "xfile/mesh.h"

namespace vellmark {

// The bytes of a file the model refers to by a relative URI (already percent-decoded), or
// nullopt when it cannot be had. The caller decides where such files may come from.
using GltfResourceFetch = std::function<std::optional<std::vector<std::uint8_t>>(const std::string& uri)>;

// A material's picture: an image file's bytes in whatever format it has, or, for a material
// without a base-colour texture, its base colour (red, green, blue, alpha, 0-255).
struct ModelPicture {
  std::vector<std::uint8_t> file;
  std::string name;  // the URI or "image N", for messages; empty without a texture
  std::array<std::uint8_t, 4> colour{255, 255, 255, 255};
};

struct GltfModel {
  // Vertices are position and one texture-coordinate pair (the .x loader's XYZ | TEX1
  // layout); textureFilename of each material is its picture's name.
  d3d::LoadedMesh mesh;
  std::vector<ModelPicture> pictures;  // one per material of mesh.materials
  std::vector<std::string> notes;      // what was left out, for the user
};

// Limits of the game's files, checked before anything is built.
inline constexpr std::uint32_t kModelMaxVertices = 65535;
inline constexpr std::uint32_t kModelMaxTriangles = 1u << 24;

// Reads a .glb (by its magic) or .gltf file.
//
// Every node of the default scene (the first scene when none is named) is placed with its
// matrix or translation, rotation and scale, nested. Primitives in TRIANGLES, TRIANGLE_STRIP
// and TRIANGLE_FAN mode are taken; others are left out with a note. POSITION and TEXCOORD_0
// are read from any component type the format allows, normalised integers and sparse
// accessors included; indices of any width or none.
//
// glTF is right-handed and the game, like the .x files, left-handed: z is negated and each
// triangle's second and third corners swap (twice more for a node whose transform mirrors).
// Primitives that share a node and attribute accessors share their vertices. Triangles are
// grouped by material, keeping their order within a material; materials keep the file's
// numbering, with one plain white material added at the end for primitives without one.
//
// Raises Error naming what is wrong: Corrupt for what the format forbids (accessors or views
// past their buffers, indices past the vertices, nodes that form a loop or have two
// parents), Unsupported beyond the game's limits (more than 65,535 vertices, named with the
// count) and for what the loader cannot take, Io when a referenced file cannot be fetched.
//
// With `pictures` false, pictures are neither fetched nor kept (the names stay): for a
// look at a model's contents without its textures at hand.
GltfModel loadGltfModel(Bytes file, const GltfResourceFetch& fetch, bool pictures = true);

// Whether `file` starts like a glTF file: the binary magic, or JSON text holding an
// "asset" object.
bool looksLikeGltf(Bytes file);

}  // namespace vellmark
