// C export: OpenDirectX. The DLL uses Direct3D 9 and its extension library when they are
// there; the Linux library uses the portable layer.
#include "tools/mesh_layer.h"
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "tools/open_direct_x.h"
#include "vellmark/vellmark.h"

#ifdef _WIN32
#include "platform/d3d9_mesh_layer.h"
#endif

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL OpenDirectX(const char* meshPath, const char* outputDir) {
  runExport("OpenDirectX", [&] {
#ifdef _WIN32
    d3d::MeshLayer& layer = d3d::direct3D9MeshLayer();
#else
    d3d::MeshLayer& layer = d3d::portableMeshLayer();
#endif
    openDirectX(exportHost(), layer, meshPath, outputDir);
  });
}

}  // extern "C"
