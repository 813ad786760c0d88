// The mesh layer without Direct3D: the window and the device are placeholders that always
// exist, and the portable .x loader yields the mesh and materials.
#include "tools/mesh_layer.h"
#include "xfile/result_text.h"
#include "xfile/x_loader.h"

namespace vellmark::d3d {

namespace {

class PortableMeshLayer : public MeshLayer {
 public:
  bool createHiddenWindow() override { return true; }
  HResult createDevice(const DeviceRequest&) override { return kOk; }
  HResult loadMesh(const std::string& path, std::uint32_t, LoadedMesh& out) override {
    return loadMeshFromXFile(path, out);
  }
  std::string describe(HResult code) override { return describeResult(code); }
  void releaseDevice() override {}
  void destroyWindow() override {}
};

}  // namespace

MeshLayer& portableMeshLayer() {
  static PortableMeshLayer layer;
  return layer;
}

}  // namespace vellmark::d3d
