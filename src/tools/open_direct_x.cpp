#include "tools/open_direct_x.h"

#include <sys/stat.h>

#include <cstdio>

#include "base/file_io.h"
#include "base/paths.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "tools/messages.h"

namespace vellmark {

namespace {

// Printed, not boxed, before the process ends on a failed write of the .MAP file.
constexpr char kOutputWriteErrorText[] = "Output file write error";

bool initDirect3D(d3d::MeshLayer& layer) {
  if (!layer.createHiddenWindow()) return false;
  return layer.createDevice(meshDeviceRequest());
}

// The .MAP file, written in place as the game's writer does: straight to the file, then a
// seek back to write the header and tables over.
class MapOutputFile : public MapSink {
 public:
  explicit MapOutputFile(const std::string& path) : file_(std::fopen(path.c_str(), "wb")) {}
  ~MapOutputFile() override {
    if (file_) std::fclose(file_);
  }
  MapOutputFile(const MapOutputFile&) = delete;
  MapOutputFile& operator=(const MapOutputFile&) = delete;
  explicit operator bool() const { return file_ != nullptr; }
  std::size_t write(const std::uint8_t* data, std::size_t size) override { return std::fwrite(data, 1, size, file_); }
  std::uint32_t position() const override { return static_cast<std::uint32_t>(std::ftell(file_)); }
  void rewind() override { std::fseek(file_, 0, SEEK_SET); }

 private:
  std::FILE* file_;
};

bool fileExists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

MapTextureLookup lookTextureUp(Host& host, const d3d::Material& material) {
  if (!material.textureFilename) {
    host.messageBox(messages::kMapErrorCaption, messages::kMissingTextureText);
    return {.texture = std::nullopt, .stop = true};
  }
  const SplitPath parts = splitPath(*material.textureFilename);
  if (parts.extension != ".tga") {
    host.messageBox(messages::kMapErrorCaption, messages::kTargaNotValidText);
    host.messageBox(messages::kTriedTextureCaption, parts.joined());
    return {.texture = std::nullopt, .stop = true};
  }
  std::string path = parts.joined();
  if (!fileExists(path))
    if (auto chosen = host.openFileDialog(path)) path = *chosen;
  std::optional<std::vector<std::uint8_t>> file;
  try {
    file = readWholeFile(path);
  } catch (const Error&) {
  }
  MapTextureLookup lookup;
  if (file) lookup.texture = decodeMapTexture(*file);
  if (!lookup.texture) host.messageBox(messages::kMapErrorCaption, messages::kCannotReadTextureText);
  return lookup;
}

}  // namespace

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

void openDirectX(Host& host, d3d::MeshLayer& layer, const std::string& meshPath, const std::string& outputDir) {
  if (!initDirect3D(layer)) {
    host.messageBox(messages::kDirectXInitCaption, messages::kDirectXInitText);
    host.exitProcess(1);
  }
  const std::string inputName = meshPath;
  d3d::LoadedMesh loaded;
  try {
    loaded = layer.loadMesh(inputName, kMeshLoadOptions);
  } catch (const Error& e) {
    if (e.resultCode() == d3d::kOk) throw;
    host.messageBox(messages::kLoadErrorCaption, d3d::describeResult(e.resultCode()));
    host.exitProcess(1);
  }
  const std::vector<std::uint8_t> xyz = buildXyzImage(loaded.mesh);
  const MeshOutputNames names = meshOutputNames(inputName, outputDir);

  host.messageBox(messages::kWriteXyzCaption, names.xyz);
  (void)writeWholeFile(names.xyz, xyz);
  host.messageBox(messages::kWriteMapCaption, names.map);
  {
    MapOutputFile out(names.map);
    if (out) {
      const auto textureOf = [&](const d3d::Material& m) { return lookTextureUp(host, m); };
      if (writeMapFile(out, loaded.materials, textureOf) == MapWriteEnd::ShortWrite) {
        host.print(kOutputWriteErrorText);
        host.exitProcess(1);
      }
    }
  }

  layer.releaseDevice();
  layer.destroyWindow();
}

}  // namespace vellmark
