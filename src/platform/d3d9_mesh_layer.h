// The mesh layer of Vellmark.dll: Direct3D 9 and its extension library, both bound at call
// time so that the other tools work on machines without them.
#pragma once

#include "tools/mesh_layer.h"

namespace vellmark::d3d {

// A real hidden window and Direct3D 9 device; meshes load through the extension library's
// load-mesh-from-.x function when one of its versions is installed, else through the
// portable loader. Failures carry the loader's result code in both cases.
MeshLayer& direct3D9MeshLayer();

}  // namespace vellmark::d3d
