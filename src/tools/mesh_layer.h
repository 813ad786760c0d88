// What the mesh exporter needs of the Direct3D utility layer: a hidden window, a device,
// the .x loader with its materials, result-code texts, and the teardown. The DLL binds
// Direct3D 9 and its extension library at call time; everywhere else (and in the DLL when
// the extension library is missing) the portable .x loader serves and the device is a
// placeholder.
#pragma once

#include <cstdint>
#include <string>

#include "xfile/mesh.h"
#include "xfile/result_text.h"

namespace vellmark::d3d {

// Presentation parameters in the layer's own numbering; the Direct3D 9 layer translates the
// codes that differ from the desktop runtime's (see d3d9_mesh_layer.cpp).
struct PresentParameters {
  std::uint32_t backBufferWidth = 0;
  std::uint32_t backBufferHeight = 0;
  std::uint32_t backBufferFormat = 0;
  std::uint32_t backBufferCount = 0;
  std::uint32_t multiSampleType = 0;
  std::uint32_t multiSampleQuality = 0;
  std::uint32_t swapEffect = 0;
  bool windowed = false;
  bool enableAutoDepthStencil = false;
  std::uint32_t autoDepthStencilFormat = 0;
  std::uint32_t flags = 0;
  std::uint32_t fullScreenRefreshRate = 0;
  std::uint32_t presentationInterval = 0;
};

struct DeviceRequest {
  std::uint32_t adapter = 0;
  std::uint32_t deviceType = 0;
  std::uint32_t behaviourFlags = 0;
  PresentParameters parameters;
};

class MeshLayer {
 public:
  virtual ~MeshLayer() = default;
  // Registers the "dxwind" class and creates the never-shown window; false when it fails.
  virtual bool createHiddenWindow() = 0;
  // Creates the device on the hidden window; false when it fails.
  virtual bool createDevice(const DeviceRequest& request) = 0;
  // Loads the .x file at `path` as one mesh with its materials (`options` as the extension
  // library takes them). A failure raises Error carrying the loader's result code (a file
  // that cannot be read is kInvalidData).
  virtual LoadedMesh loadMesh(const std::string& path, std::uint32_t options) = 0;
  virtual void releaseDevice() = 0;
  // Destroys the window the exporter keeps a handle to (which it never assigns).
  virtual void destroyWindow() = 0;
};

// Placeholder window and device, and the portable .x loader.
MeshLayer& portableMeshLayer();

}  // namespace vellmark::d3d
