#include "tools/open_direct_x.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>
#include <vector>

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

// The .MAP file, written as the game's writer does (straight on, then a seek back to write
// the header and tables over) but under a temporary name, renamed over the final one when
// the writer has ended: a run cut short leaves no partial .MAP behind.
class MapOutputFile : public MapSink {
 public:
  explicit MapOutputFile(const std::string& path) {
    try {
      file_.emplace(path);
    } catch (const Error&) {
    }
  }
  explicit operator bool() const { return file_.has_value(); }
  std::size_t write(const std::uint8_t* data, std::size_t size) override {
    const std::span<const std::uint8_t> piece(data, size);
    if (!(rewound_ ? file_->writeAt(position_, piece) : file_->write(piece))) return 0;
    position_ += size;
    return size;
  }
  std::uint32_t position() const override { return static_cast<std::uint32_t>(position_); }
  void rewind() override {
    position_ = 0;
    rewound_ = true;
  }
  bool commit() { return file_->commit(); }

 private:
  std::optional<OutputFile> file_;
  std::uint64_t position_ = 0;
  bool rewound_ = false;
};

bool fileExists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

MapTextureLookup lookTextureUp(Host& host, const d3d::Material& material, const TextureSearch& search) {
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
  std::vector<std::string> tried;
  if (search.besideModel) {
    tried = textureCandidates(parts.joined(), search.modelFolder);
  } else {
    tried = {parts.joined()};
    if (!fileExists(tried.front()))
      if (auto chosen = host.openFileDialog(tried.front())) tried.front() = *chosen;
  }
  MapTextureLookup lookup;
  for (const auto& path : tried) {
    if (!fileExists(path)) continue;
    try {
      lookup.texture = decodeMapTexture(readWholeFile(path));
    } catch (const Error&) {
    }
    tried = {path};  // found: that file alone is what could not be read, if it could not
    break;
  }
  if (!lookup.texture) {
    if (search.besideModel) {
      std::string names;
      for (const auto& path : tried) names += (names.empty() ? "'" : ", '") + path + "'";
      host.printError("vellmark: texture '" + *material.textureFilename + "' cannot be read; tried " + names + "\n");
    }
    host.messageBox(messages::kMapErrorCaption, messages::kCannotReadTextureText);
  }
  return lookup;
}

}  // namespace

std::vector<std::string> textureCandidates(const std::string& named, const std::string& modelFolder) {
  // Runs of separators count as one: the .x files' own escaping doubles backslashes.
  std::string path;
  for (char c : named) {
    if (kPathSeparator == '/' && c == '\\') c = '/';
    if (!(c == kPathSeparator && !path.empty() && path.back() == kPathSeparator)) path += c;
  }
  const auto cut = path.find_last_of("/\\");
  const std::string base = cut == std::string::npos ? path : path.substr(cut + 1);
  const std::string folder = modelFolder.empty() ? "" : modelFolder + kPathSeparator;
  std::vector<std::string> candidates{path};
  for (const std::string& c : {folder + path, folder + base})
    if (std::find(candidates.begin(), candidates.end(), c) == candidates.end()) candidates.push_back(c);
  return candidates;
}

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

void openDirectX(Host& host, d3d::MeshLayer& layer, const std::string& meshPath, const std::string& outputDir,
                 const TextureSearch& search) {
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
      const auto textureOf = [&](const d3d::Material& m) { return lookTextureUp(host, m, search); };
      if (writeMapFile(out, loaded.materials, textureOf) == MapWriteEnd::ShortWrite) {
        host.print(kOutputWriteErrorText);
        host.exitProcess(1);
      }
      (void)out.commit();  // a failure here is seen by the program, which checks its outputs
    }
  }

  layer.releaseDevice();
  layer.destroyWindow();
}

}  // namespace vellmark
