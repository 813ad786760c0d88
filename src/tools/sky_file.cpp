#include "tools/sky_file.h"

#include <algorithm>
#include <cstring>

#include "tools/messages.h"
#include "base/paths.h"
#include "archive/course_archive.h"
#include "base/file_io.h"
#include "base/ordered_parallel.h"
#include "base/tga.h"
#include "archive/zlib_member.h"

namespace vellmark {

namespace {

struct TileRect {
  int size, row, column;
};

TileRect tileRect(int member) {
  if (member >= 1 && member <= kSkyLargeTiles) return {kSkyLargeTileSize, 0, kSkyLargeTileSize * (member - 1)};
  if (member > kSkyLargeTiles && member <= kSkyTiles)
    return {kSkySmallTileSize, kSkyLargeTileSize, kSkySmallTileSize * (member - kSkyLargeTiles - 1)};
  fail(ErrorKind::Argument, "sky tile number " + std::to_string(member) + " is outside 1.." + std::to_string(kSkyTiles));
}

}  // namespace

std::string skyTileName(int member) { return "_s_k_y_" + std::to_string(member) + ".tga"; }

std::vector<std::uint8_t> skyTileImage(Bytes skyPixels, int member) {
  const TileRect rect = tileRect(member);
  if (skyPixels.size() < kSkyPixelBytes)
    fail(ErrorKind::Truncated, "main sky holds " + std::to_string(skyPixels.size()) + " pixel bytes, " +
                                   std::to_string(kSkyPixelBytes) + " needed");
  const auto side = static_cast<std::uint16_t>(rect.size);
  const std::size_t tileRow = std::size_t{side} * 4;
  std::vector<std::uint8_t> image(kTgaHeaderSize + tileRow * side, 0);
  const auto header = makeTgaHeader(side, side);
  std::copy(header.begin(), header.end(), image.begin());
  // The last large tile overhangs the image by 64 columns, which stay zero.
  const std::size_t copied = std::size_t(std::min(rect.size, kSkyWidth - rect.column)) * 4;
  const std::size_t skyRow = std::size_t{kSkyWidth} * 4;
  for (int r = 0; r < rect.size; ++r)
    std::memcpy(&image[kTgaHeaderSize + r * tileRow], &skyPixels[(rect.row + r) * skyRow + rect.column * 4], copied);
  return image;
}

std::vector<std::uint8_t> buildSkyFile(Bytes previewFile, Bytes skyPixels, unsigned threads) {
  if (skyPixels.size() < kSkyPixelBytes)
    fail(ErrorKind::Truncated, "main sky holds " + std::to_string(skyPixels.size()) + " pixel bytes, " +
                                   std::to_string(kSkyPixelBytes) + " needed");
  struct Packed {
    std::vector<std::uint8_t> compressed;
    std::uint32_t size;
  };
  CourseArchiveWriter writer;
  runOrdered(
      kSkyMembers, threads,
      [&](std::size_t i) {
        // compressMember refuses anything over 4 GiB, so the sizes fit their 32-bit fields.
        if (i + 1 == kSkyMembers) return Packed{compressMember(previewFile), static_cast<std::uint32_t>(previewFile.size())};
        auto tile = skyTileImage(skyPixels, static_cast<int>(i) + 1);
        return Packed{compressMember(tile), static_cast<std::uint32_t>(tile.size())};
      },
      [&](std::size_t i, Packed packed) {
        const std::string name = i + 1 == kSkyMembers ? kSkyPreviewMember : skyTileName(static_cast<int>(i) + 1);
        writer.addMember(name, packed.compressed, packed.size);
      });
  return std::move(writer).finish();
}

void createSkyFile(Host& host, const std::string& previewTgaPath, const std::string& skyTgaPath,
                   const std::string& outputFolder, unsigned threads) {
  const auto preview = readWholeFile(previewTgaPath);
  const TgaHeader previewHeader = readTgaHeader(preview, previewTgaPath);
  if (previewHeader.width != kSkyPreviewWidth || previewHeader.height != kSkyPreviewHeight) {
    host.messageBox(messages::kInvalidTgaCaption, messages::kInvalidPreviewText);
    return;
  }
  const auto sky = readWholeFile(skyTgaPath);
  const TgaHeader skyHeader = readTgaHeader(sky, skyTgaPath);
  if (skyHeader.width != kSkyWidth || skyHeader.height != kSkyHeight) {
    host.messageBox(messages::kInvalidTgaCaption, messages::kInvalidMainSkyText);
    return;
  }
  // Pixels are taken from byte 18 whatever the ID length, depth or type say.
  const Bytes pixels = tgaPixelRows(sky, std::size_t{kSkyWidth} * 4, kSkyHeight, skyTgaPath);
  const std::string output =
      outputFolder + stripFromLast(namePart(skyTgaPath, "main sky image path"), ".tga") + kSkyExtension;
  (void)writeWholeFile(output, buildSkyFile(preview, pixels, threads));
}

}  // namespace vellmark
