#include "tools/convert_picture.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "archive/archive_members.h"
#include "base/file_io.h"
#include "btc/btc_file.h"
#include "btc/btc_file_writer.h"
#include "image/image_file.h"
#include "tools/xpr_to_tga.h"
#include "xbox/xbox_format.h"
#include "xbox/xpr_bundle.h"
#include "xbox/xpr_level.h"

namespace vellmark {

namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

void writeOrFail(const std::string& path, Bytes data) {
  if (!writeWholeFile(path, data)) fail(ErrorKind::Io, "cannot write '" + path + "'");
}

}  // namespace

std::optional<PictureFormat> pictureFormatNamed(const std::string& name) {
  const std::string n = lowered(name);
  if (n == "png") return PictureFormat::Png;
  if (n == "tga") return PictureFormat::Tga;
  if (n == "btc") return PictureFormat::Btc;
  return std::nullopt;
}

PictureFormat pictureFormatOfPath(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::size_t separator = path.find_last_of("/\\");
  if (dot != std::string::npos && (separator == std::string::npos || dot > separator))
    if (auto format = pictureFormatNamed(path.substr(dot + 1))) return *format;
  fail(ErrorKind::Argument, "'" + path + "': the output's extension must be .png, .tga or .btc");
}

const char* pictureExtension(PictureFormat format) {
  switch (format) {
    case PictureFormat::Png: return ".png";
    case PictureFormat::Tga: return ".tga";
    case PictureFormat::Btc: return ".btc";
  }
  return "";
}

bool isXprBundle(Bytes file) { return file.size() >= 4 && loadU32BE(file.data()) == kXprMagic; }

bool isXprBundleFile(const std::string& path) {
  try {
    return isXprBundle(readWholeFile(path));
  } catch (const Error&) {
    return false;  // the conversion itself reports an unreadable input
  }
}

Image readPicture(Bytes file, const std::string& what) {
  if (file.size() >= 4 && loadU32(file.data()) == kBtcFileMagic) return readTgaImage(convertBtcToTga(file), what);
  return decodeImage(file, what);
}

std::vector<std::uint8_t> encodePicture(const Image& image, PictureFormat format) {
  switch (format) {
    case PictureFormat::Png: return encodePng(image);
    case PictureFormat::Tga: return encodeTga(image);
    case PictureFormat::Btc: return makeBtcFile(image);
  }
  return {};
}

void convertPicture(Host& /*host*/, const std::string& inPath, const std::string& outPath) {
  const PictureFormat format = pictureFormatOfPath(outPath);
  writeOrFail(outPath, encodePicture(readPicture(readWholeFile(inPath), inPath), format));
}

std::size_t convertXprBundle(Host& host, const std::string& xprPath, const std::string& outputPrefix,
                             PictureFormat format, bool overwrite) {
  const auto file = readWholeFile(xprPath);
  const XprParse parsed = parseXprBundle(file, xprPath);
  if (!parsed.bundle) fail(ErrorKind::Corrupt, "'" + xprPath + "' is not an Xbox 360 bundle");
  const XprBundle& bundle = *parsed.bundle;
  std::size_t written = 0;
  for (const XprResource& r : bundle.directory) {
    if (r.type != kXprTypeTexture2D && r.type != kXprTypeCube) continue;
    const std::string name = xprResourceName(bundle, r);
    const xbox::TextureHeader header = xprTextureHeader(bundle, r);
    if (auto problem = memberNameProblem(name)) {
      host.printError("texture '" + name + "' not written: " + *problem + "\n");
      continue;
    }
    if (!canConvertXprFormat(header.format())) {
      host.printError("texture '" + name + "': format " + xbox::gpuFormatName(header.format() & 0x3F) +
                      " cannot be converted; skipped\n");
      continue;
    }
    const std::uint32_t faces = header.cube() ? 6 : 1;
    for (std::uint32_t face = 0; face < faces; ++face) {
      XprLevelImage level = convertXprTextureLevel(bundle, header, face, 0);
      const std::string file = outputPrefix + name + (faces == 6 ? kCubeFaceNames[face] : "") +
                               (level.inMipTail ? kMipTailSuffix : "") + pictureExtension(format);
      std::error_code ec;
      if (!overwrite && std::filesystem::exists(std::filesystem::path(file), ec))
        fail(ErrorKind::Io, "'" + file + "' exists and is not overwritten");
      writeOrFail(file, encodePicture(Image{level.width, level.height, std::move(level.pixels)}, format));
      ++written;
    }
  }
  return written;
}

}  // namespace vellmark
