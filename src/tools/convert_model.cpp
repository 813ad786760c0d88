#include "tools/convert_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>

#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "base/paths.h"
#include "gltf/gltf_model.h"
#include "image/image_file.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_writer.h"
#include "tools/open_direct_x.h"
#include "xfile/x_loader.h"

namespace vellmark {

namespace {

std::string folderOf(const std::string& path) {
  const auto cut = path.find_last_of(kPathSeparator == '/' ? "/" : "/\\");
  return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

std::string joined(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  return folder.back() == kPathSeparator ? folder + name : folder + kPathSeparator + name;
}

// Where a texture comes from before it is decoded: a file's bytes or a plain colour.
struct PictureSource {
  std::vector<std::uint8_t> file;
  std::string name;
  std::array<std::uint8_t, 4> colour{255, 255, 255, 255};  // red, green, blue, alpha
};

MapTexture textureOf(const PictureSource& source) {
  if (source.file.empty()) {
    const std::uint8_t bgra[4] = {source.colour[2], source.colour[1], source.colour[0], source.colour[3]};
    return mapTextureFromPixels(1, 1, Bytes(bgra, 4));
  }
  const Bytes file(source.file);
  const auto tooLarge = [&](std::uint64_t w, std::uint64_t h) {
    fail(ErrorKind::Unsupported, "texture '" + source.name + "' is " + std::to_string(w) + " x " + std::to_string(h) +
                                     "; the game's files take sides up to " + std::to_string(kMapMaxTextureSide));
  };
  // TGAs the game's reader reads right go through it, so that the files equal mesh's.
  if (sniffImageFile(file) == ImageFileKind::Tga && mapReaderTakesTga(file)) {
    const std::uint16_t w = loadU16(&file[12]), h = loadU16(&file[14]);
    if (w > kMapMaxTextureSide || h > kMapMaxTextureSide) tooLarge(w, h);
    if (auto texture = decodeMapTexture(file)) return std::move(*texture);
    fail(ErrorKind::Truncated, "texture '" + source.name + "' ends before its pixels");
  }
  const Image image = decodeImage(file, "texture '" + source.name + "'");
  if (image.width > kMapMaxTextureSide || image.height > kMapMaxTextureSide) tooLarge(image.width, image.height);
  return mapTextureFromPixels(static_cast<int>(image.width), static_cast<int>(image.height), image.pixels);
}

std::array<std::uint8_t, 4> colourOf(const d3d::ColorValue& c) {
  const auto byte = [](float v) { return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f)); };
  return {byte(c.r), byte(c.g), byte(c.b), byte(c.a)};
}

struct LoadedModel {
  d3d::LoadedMesh mesh;
  std::vector<PictureSource> pictures;
  std::vector<std::string> notes;
};

LoadedModel loadX(Bytes file, const std::string& modelPath) {
  LoadedModel out;
  out.mesh = d3d::loadXFile(file);
  const std::string folder = folderOf(modelPath);
  for (const d3d::Material& m : out.mesh.materials) {
    PictureSource source;
    source.colour = colourOf(m.diffuse);
    if (m.textureFilename) {
      const std::vector<std::string> tried = textureCandidates(*m.textureFilename, folder);
      std::optional<std::vector<std::uint8_t>> bytes;
      for (const std::string& path : tried) {
        try {
          bytes = readWholeFile(path);
          source.name = path;
          break;
        } catch (const Error&) {
        }
      }
      if (!bytes) {
        std::string names;
        for (const auto& path : tried) names += (names.empty() ? "'" : ", '") + path + "'";
        fail(ErrorKind::Io, "texture '" + *m.textureFilename + "' cannot be read; tried " + names);
      }
      source.file = std::move(*bytes);
    }
    out.pictures.push_back(std::move(source));
  }
  return out;
}

// A glTF's own files: relative URIs beside the model, nothing else.
std::optional<std::vector<std::uint8_t>> fetchBeside(const std::string& folder, const std::string& uri) {
  const bool absolute = uri.empty() || uri.front() == '/' || uri.front() == '\\' || uri.find(':') != std::string::npos;
  if (absolute) return std::nullopt;
  try {
    return readWholeFile(joined(folder, uri));
  } catch (const Error&) {
    return std::nullopt;
  }
}

LoadedModel loadGltf(Bytes file, const std::string& modelPath) {
  const std::string folder = folderOf(modelPath);
  GltfModel model = loadGltfModel(file, [&](const std::string& uri) { return fetchBeside(folder, uri); });
  LoadedModel out;
  out.mesh = std::move(model.mesh);
  for (ModelPicture& p : model.pictures) out.pictures.push_back({std::move(p.file), p.name, p.colour});
  out.notes = std::move(model.notes);
  return out;
}

}  // namespace

ModelOutputNames modelOutputNames(const std::string& modelPath, const std::string& outputFolder) {
  std::string name = modelPath.substr(modelPath.find_last_of(kPathSeparator == '/' ? "/" : "/\\") + 1);
  const auto dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return {joined(outputFolder, name + ".XYZ"), joined(outputFolder, name + ".MAP")};
}

ModelSummary convertModel(Host& host, const std::string& modelPath, const std::string& outputFolder, unsigned threads) {
  const std::vector<std::uint8_t> file = readWholeFile(modelPath);
  LoadedModel model = looksLikeGltf(file) ? loadGltf(file, modelPath) : loadX(file, modelPath);
  if (model.mesh.mesh.vertexCount > kModelMaxVertices)
    fail(ErrorKind::Unsupported, "the model has " + std::to_string(model.mesh.mesh.vertexCount) +
                                     " vertices; the game's files hold at most " + std::to_string(kModelMaxVertices));
  for (const std::string& note : model.notes) host.printError("vellmark: note: '" + modelPath + "': " + note + "\n");

  // Pictures decode and quantize on worker threads; halving and compression follow in order.
  std::vector<MapTexture> textures(model.pictures.size());
  runOrdered(
      model.pictures.size(), threads, [&](std::size_t i) { return textureOf(model.pictures[i]); },
      [&](std::size_t i, MapTexture t) { textures[i] = std::move(t); });

  const std::vector<std::uint8_t> xyz = buildXyzImage(model.mesh.mesh);
  MemoryMapSink map;
  const d3d::Material* first = model.mesh.materials.data();
  (void)writeMapFile(map, model.mesh.materials, [&](const d3d::Material& m) {
    return MapTextureLookup{.texture = std::move(textures[static_cast<std::size_t>(&m - first)]), .stop = false};
  });

  const ModelOutputNames names = modelOutputNames(modelPath, outputFolder);
  if (!writeWholeFile(names.map, map.bytes)) fail(ErrorKind::Io, "cannot write '" + names.map + "'");
  if (!writeWholeFile(names.xyz, xyz)) {
    std::remove(names.map.c_str());
    fail(ErrorKind::Io, "cannot write '" + names.xyz + "'");
  }
  return {model.mesh.mesh.vertexCount, model.mesh.mesh.faceCount(), static_cast<std::uint32_t>(model.mesh.materials.size())};
}

}  // namespace vellmark
