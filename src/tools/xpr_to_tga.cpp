#include "tools/xpr_to_tga.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>

#include "base/error.h"
#include "base/file_io.h"
#include "base/file_names.h"
#include "base/tga.h"
#include "image/image_file.h"
#include "tools/messages.h"
#include "xbox/xbox_format.h"
#include "xbox/xpr_level.h"

namespace vellmark {

using namespace xbox;

namespace {

// A name taken from the bundle that cannot be a file name in the output folder: the
// resource is skipped, as a texture of an unconvertible format is, but counted as an error.
bool refusedName(Host& host, std::uint32_t index, const std::string& name) {
  const auto problem = fileNameProblem(name);
  if (problem)
    host.printError("   " + std::to_string(index) + ": file name '" + printableName(name) + "' refused: " + *problem +
                    "; skipped\n");
  return problem.has_value();
}

// `baseFromBundle`: the base name is a cube's own name, checked face by face before its
// file is made (a face read from the packed tail has a longer name than the others).
bool convertTexture(Host& host, const XprBundle& bundle, const TextureHeader& header, const std::string& baseName,
                    std::uint32_t index, bool baseFromBundle, const XprFileSink& sink, bool asPng) {
  const std::uint32_t format = header.format();
  if (!canConvertXprFormat(format)) {
    host.printError("   " + std::to_string(index) + ": texture format " + gpuFormatName(format & 0x3F) +
                    " cannot be converted; skipped\n");
    return true;
  }
  const std::uint32_t faces = header.cube() ? 6 : 1;
  const std::uint32_t levels = header.levelCount();
  // Only the top level is written, whatever the level count: the game's converter stops
  // after level 0.
  for (std::uint32_t level = 0; level < std::min(levels, 1u); ++level) {
    for (std::uint32_t face = 0; face < faces; ++face) {
      XprLevelImage image = convertXprTextureLevel(bundle, header, face, level);
      const std::string name = baseName + (faces == 6 ? kCubeFaceNames[face] : "") +
                               (image.inMipTail ? kMipTailSuffix : "") + (asPng ? ".png" : ".tga");
      if (baseFromBundle && refusedName(host, index, name)) return false;
      if (asPng) {
        const auto png = encodePng(Image{image.width, image.height, std::move(image.pixels)});
        sink(name, {png});
        continue;
      }
      const auto tgaHeader = makeTgaHeader(static_cast<std::uint16_t>(image.width),
                                           static_cast<std::uint16_t>(image.height), kXprTgaDescriptor);
      sink(name, {tgaHeader, image.pixels});
    }
  }
  return true;
}

std::string hex(std::uint32_t v) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08lx", static_cast<unsigned long>(v));
  return text;
}

// The bundle at `path`, or nullopt after printing "File <path> not found" or the invalid
// magic line (the two failures of the console's loader).
std::optional<XprBundle> loadXprBundle(Host& host, const std::string& path) {
  std::vector<std::uint8_t> file;
  try {
    file = readWholeFile(path);
  } catch (const Error& e) {
    if (e.kind() != ErrorKind::Io) throw;
    host.print("File <" + path + "> not found\n");
    return std::nullopt;
  }
  XprParse parsed = parseXprBundle(file, path);
  if (!parsed.bundle) {
    host.print("Invalid Xbox Packed Resource (.xpr) file: Magic = " + hex(parsed.magic) + "\n");
    return std::nullopt;
  }
  return std::move(parsed.bundle);
}

}  // namespace

std::size_t buildXprFiles(Host& host, const XprBundle& bundle, const std::string& textureBaseName,
                          const XprFileSink& sink, bool asPng) {
  std::size_t refused = 0;
  for (std::uint32_t i = 0; i < bundle.directory.size(); ++i) {
    const XprResource& r = bundle.directory[i];
    if (r.type == kXprTypeUser) {
      const std::string name = xprResourceName(bundle, r) + ".bin";
      if (refusedName(host, i, name)) {
        ++refused;
        continue;
      }
      sink(name, {xprUserData(bundle, r)});
    } else if (r.type == kXprTypeTexture2D) {
      convertTexture(host, bundle, xprTextureHeader(bundle, r), textureBaseName, i, false, sink, asPng);
    } else if (r.type == kXprTypeCube) {
      const std::string name = xprResourceName(bundle, r);
      // Every face is checked before the cube is announced, so a refused cube makes nothing.
      bool usable = true;
      for (const char* face : kCubeFaceNames)
        usable = usable && !refusedName(host, i, name + face + (asPng ? ".png" : ".tga"));
      if (!usable) {
        ++refused;
        continue;
      }
      host.print("   " + std::to_string(i) + ": " + name + " (Cubemap)\n");
      if (!convertTexture(host, bundle, xprTextureHeader(bundle, r), name, i, true, sink, asPng)) ++refused;
    }
  }
  return refused;
}

XprRunResult xprToTga(Host& host, const std::string& xprPath, const std::string& textureBaseName, bool asPng) {
  XprRunResult result;
  const auto bundle = loadXprBundle(host, xprPath);
  if (!bundle) {
    host.messageBox(messages::kXprErrorCaption, messages::kXprErrorText);
    return result;
  }
  std::map<std::string, std::size_t> writes;
  result.refused = buildXprFiles(host, *bundle, textureBaseName, [&](const std::string& name, std::initializer_list<Bytes> pieces) {
    ++writes[name];
    if (!writeWholeFile(name, pieces)) result.unwritten.push_back(name);
  }, asPng);
  for (const auto& [name, count] : writes)
    if (count > 1) result.overwritten.emplace_back(name, count);
  return result;
}

}  // namespace vellmark
