#include "tools/open_direct_x.h"

#include "tools/messages.h"
#include "base/paths.h"
#include "base/file_io.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"

namespace vellmark {

d3d::DeviceRequest meshDeviceRequest() {
  d3d::DeviceRequest request;
  request.adapter = 0;
  request.deviceType = 1;  // hardware
  request.behaviourFlags = 0;
  d3d::PresentParameters& p = request.parameters;
  p.backBufferFormat = 0xFFFFFFFFu;
  p.swapEffect = 1;  // discard
  p.windowed = true;
  p.enableAutoDepthStencil = true;
  p.autoDepthStencilFormat = 0x2DA00196u;
  p.presentationInterval = 0x80000000u;  // immediate
  return request;
}

MeshOutputNames meshOutputNames(const std::string& meshPath, const std::string& outputDir) {
  const auto separator = meshPath.rfind(kPathSeparator);
  const std::string name = separator == std::string::npos ? meshPath : meshPath.substr(separator);
  const std::string stem = stripFromLast(name, ".X");
  return {outputDir + stem + ".XYZ", outputDir + stem + ".MAP"};
}

namespace {

bool initDirect3D(d3d::MeshLayer& layer) {
  if (!layer.createHiddenWindow()) return false;
  return !d3d::failed(layer.createDevice(meshDeviceRequest()));
}

}  // namespace

void openDirectX(Host& host, d3d::MeshLayer& layer, const std::string& meshPath, const std::string& outputDir) {
  if (!initDirect3D(layer)) {
    host.messageBox(messages::kDirectXInitCaption, messages::kDirectXInitText);
    host.exitProcess(1);
  }
  const std::string inputName = meshPath;
  d3d::LoadedMesh loaded;
  const d3d::HResult result = layer.loadMesh(inputName, kMeshLoadOptions, loaded);
  if (d3d::failed(result)) {
    host.messageBox(messages::kLoadErrorCaption, layer.describe(result));
    host.exitProcess(1);
  }
  const std::vector<std::uint8_t> xyz = buildXyzImage(loaded.mesh);
  const MeshOutputNames names = meshOutputNames(inputName, outputDir);

  host.messageBox(messages::kWriteXyzCaption, names.xyz);
  (void)writeWholeFile(names.xyz, xyz);
  host.messageBox(messages::kWriteMapCaption, names.map);
  writeMapFile(host, loaded.materials, names.map);

  layer.releaseDevice();
  layer.destroyWindow();
}

}  // namespace vellmark
