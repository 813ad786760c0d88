// The mesh layer without Direct3D: the window and the device are placeholders that always
// exist, and the portable .x loader yields the mesh and materials.
#include <new>

#include "base/file_io.h"
#include "tools/mesh_layer.h"
#include "xfile/x_loader.h"

namespace vellmark::d3d {

namespace {

class PortableMeshLayer : public MeshLayer {
 public:
  bool createHiddenWindow() override { return true; }
  bool createDevice(const DeviceRequest&) override { return true; }
  LoadedMesh loadMesh(const std::string& path, std::uint32_t) override {
    std::vector<std::uint8_t> file;
    try {
      file = readWholeFile(path);
    } catch (const Error& e) {
      throw Error(e.kind(), e.what(), kInvalidData);
    } catch (const std::bad_alloc&) {
      throw Error(ErrorKind::Io, "out of memory reading " + path, kOutOfMemory);
    }
    return loadXFile(file);
  }
  void releaseDevice() override {}
  void destroyWindow() override {}
};

}  // namespace

MeshLayer& portableMeshLayer() {
  static PortableMeshLayer layer;
  return layer;
}

}  // namespace vellmark::d3d
