#include "tools/xpr_to_tga.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/error.h"
#include "base/file_io.h"
#include "base/tga.h"
#include "image/image_file.h"
#include "tools/messages.h"
#include "xbox/xbox_format.h"
#include "xbox/xpr_level.h"

namespace vellmark {

using namespace xbox;

namespace {

void convertTexture(Host& host, const XprBundle& bundle, const TextureHeader& header, const std::string& baseName,
                    std::uint32_t index, bool asPng) {
  const std::uint32_t format = header.format();
  if (!canConvertXprFormat(format)) {
    host.printError("   " + std::to_string(index) + ": texture format " + gpuFormatName(format & 0x3F) +
                    " cannot be converted; skipped\n");
    return;
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
      if (asPng) {
        (void)writeWholeFile(name, encodePng(Image{image.width, image.height, std::move(image.pixels)}));
        continue;
      }
      const auto tgaHeader = makeTgaHeader(static_cast<std::uint16_t>(image.width),
                                           static_cast<std::uint16_t>(image.height), kXprTgaDescriptor);
      (void)writeWholeFile(name, {tgaHeader, image.pixels});
    }
  }
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

void xprToTga(Host& host, const std::string& xprPath, const std::string& textureBaseName, bool asPng) {
  const auto bundle = loadXprBundle(host, xprPath);
  if (!bundle) {
    host.messageBox(messages::kXprErrorCaption, messages::kXprErrorText);
    return;
  }
  for (std::uint32_t i = 0; i < bundle->directory.size(); ++i) {
    const XprResource& r = bundle->directory[i];
    if (r.type == kXprTypeUser) {
      (void)writeWholeFile(xprResourceName(*bundle, r) + ".bin", xprUserData(*bundle, r));
    } else if (r.type == kXprTypeTexture2D) {
      convertTexture(host, *bundle, xprTextureHeader(*bundle, r), textureBaseName, i, asPng);
    } else if (r.type == kXprTypeCube) {
      const std::string name = xprResourceName(*bundle, r);
      host.print("   " + std::to_string(i) + ": " + name + " (Cubemap)\n");
      convertTexture(host, *bundle, xprTextureHeader(*bundle, r), name, i, asPng);
    }
  }
}

}  // namespace vellmark
