#include "tools/export_gltf.h"

#include <sys/stat.h>

#include "base/error.h"
#include "base/file_io.h"
#include "gltf/glb_writer.h"
#include "mesh/map_reader.h"
#include "mesh/xyz_reader.h"

namespace vellmark {

GltfExportSummary exportGltf(const std::string& xyzPath, const std::optional<std::string>& mapPath, const std::string& outPath) {
  const std::vector<std::uint8_t> xyzFile = readWholeFile(xyzPath);
  const XyzObject object = readXyzFile(xyzFile);
  std::vector<std::optional<MapPicture>> pictures;
  if (mapPath) {
    const std::vector<std::uint8_t> mapFile = readWholeFile(*mapPath);
    const MapDirectory directory = readMapDirectory(mapFile);
    for (const auto& levels : directory.materials)
      pictures.push_back(levels.empty() ? std::nullopt : std::optional<MapPicture>(readMapLevel(mapFile, directory, levels.front())));
  }
  const std::vector<std::uint8_t> glb = writeGlb(object, pictures);
  if (!writeWholeFile(outPath, glb)) fail(ErrorKind::Io, "cannot write '" + outPath + "'");
  GltfExportSummary summary;
  summary.triangles = object.faces.size();
  for (const auto& p : pictures) summary.pictures += p.has_value();
  summary.materials = pictures.size();
  return summary;
}

std::optional<std::string> mapBeside(const std::string& xyzPath) {
  const auto dot = xyzPath.rfind('.');
  const auto cut = xyzPath.find_last_of("/\\");
  const std::string stem = dot == std::string::npos || (cut != std::string::npos && dot < cut) ? xyzPath : xyzPath.substr(0, dot);
  for (const char* extension : {".MAP", ".map"}) {
    struct stat info;
    const std::string path = stem + extension;
    if (::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) return path;
  }
  return std::nullopt;
}

}  // namespace vellmark
