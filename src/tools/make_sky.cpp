#include "tools/make_sky.h"

#include <algorithm>
#include <cstring>

#include "base/file_io.h"
#include "base/tga.h"
#include "image/image_file.h"
#include "tools/sky_file.h"

namespace vellmark {

namespace {

// Rows in reverse order: the bottom row first, as bottom-up TGAs store them.
std::vector<std::uint8_t> bottomUpRows(const Image& image) {
  const std::size_t row = std::size_t{image.width} * 4;
  std::vector<std::uint8_t> rows(image.pixels.size());
  for (std::uint32_t y = 0; y < image.height; ++y)
    std::memcpy(&rows[(image.height - 1 - y) * row], &image.pixels[y * row], row);
  return rows;
}

// Bytes 16-17 of a bottom-up 32-bit TGA with 8 bits of alpha.
constexpr std::uint8_t kBottomUpAlpha8 = 0x08;

std::vector<std::uint8_t> previewFile(const SkyRequest& request, const Image& sky) {
  if (request.preview) {
    auto file = readWholeFile(*request.preview);
    if (sniffImageFile(file) == ImageFileKind::Tga && file.size() >= kTgaHeaderSize) {
      const TgaHeader header = readTgaHeader(file, *request.preview);
      if (header.width == kSkyPreviewWidth && header.height == kSkyPreviewHeight) return file;
    }
    const Image given = decodeImage(file, *request.preview);
    const Image scaled = makeSkyPreview(given, kSkyPreviewWidth, kSkyPreviewHeight);
    return makeTgaImage(kSkyPreviewWidth, kSkyPreviewHeight, bottomUpRows(scaled), kBottomUpAlpha8);
  }
  const Image preview = makeSkyPreview(sky, kSkyPreviewWidth, kSkyPreviewHeight);
  return makeTgaImage(kSkyPreviewWidth, kSkyPreviewHeight, bottomUpRows(preview), kBottomUpAlpha8);
}

}  // namespace

std::string makeSky(const SkyRequest& request) {
  Image sky;
  {
    const auto file = readWholeFile(request.picture);
    sky = makeSkyPicture(decodeImage(file, request.picture), request.framing, kSkyWidth, kSkyHeight);
  }
  const auto preview = previewFile(request, sky);
  const std::string output = request.outputPrefix + request.name + kSkyExtension;
  if (!writeWholeFile(output, buildSkyFile(preview, bottomUpRows(sky), request.threads)))
    fail(ErrorKind::Io, "cannot write '" + output + "'");
  return output;
}

}  // namespace vellmark
