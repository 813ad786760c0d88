#include "btc/panorama_stream_writer.h"

#include <algorithm>
#include <string>

#include "btc/btc_encoder.h"
#include "btc/panorama_stream.h"

namespace vellmark {

namespace {

void appendTileRecord(std::vector<std::uint8_t>& out, const std::vector<std::uint8_t>& stream) {
  appendU32(out, 0);  // the word before each stream is not read by the game's tools
  appendU32(out, static_cast<std::uint32_t>(stream.size()));
  out.insert(out.end(), stream.begin(), stream.end());
}

}  // namespace

std::vector<std::uint8_t> makeSkyPanoramaStream(const Image& image) {
  checkImagePixels(image, "sky panorama");
  if (image.width != kSkyPanoramaWidth || image.height != kSkyPanoramaHeight)
    fail(ErrorKind::Argument, "a sky panorama is 4800 x 320 pixels, not " + std::to_string(image.width) + " x " +
                                  std::to_string(image.height));
  std::vector<std::uint8_t> out;
  for (std::uint32_t word : {0u, 0u, 0u, kSkyWideTileCount, 0u}) appendU32(out, word);
  for (std::size_t i = 0; i < kSkyTileCount; ++i) {
    if (i < kSkyWideTileCount)
      appendTileRecord(out, encodeBtcTile(image, std::int64_t(i) * kPanoramaTileSide, 0, kPanoramaTileSide));
    else
      appendTileRecord(out, encodeBtcTile(image, std::int64_t(i - kSkyWideTileCount) * kSkyLowerTileSide,
                                       kPanoramaTileSide, kSkyLowerTileSide));
  }
  return out;
}

std::vector<std::uint8_t> makeTiledPanoramaStream(const Image& image) {
  checkImagePixels(image, "tiled panorama");
  const std::uint32_t across = std::max<std::uint32_t>(1, (image.width + 255) / 256);
  const std::uint32_t down = (image.height + 255) / 256;
  if (image.height > 768 || std::uint64_t{image.width} * image.height > kMaxPanoramaPixels ||
      std::uint64_t{across} * down > kTileStoreSlots)
    fail(ErrorKind::Unsupported, "a tiled panorama holds at most 768 rows, 5,529,600 pixels and 94 tiles; " +
                                     std::to_string(image.width) + " x " + std::to_string(image.height) + " does not fit");
  std::vector<std::uint8_t> out;
  for (std::uint32_t word : {0u, image.width, image.height, across, down}) appendU32(out, word);
  for (std::uint32_t band = 0; band < down; ++band)
    for (std::uint32_t k = 0; k < across; ++k) {
      auto tile = image.width == 0 ? std::vector<std::uint8_t>{}
                                   : clampedTile(image, std::int64_t{k} * 256, std::int64_t{band} * 256, 256);
      if (std::all_of(tile.begin(), tile.end(), [](std::uint8_t v) { return v == 0; })) {
        out.insert(out.end(), {kEmptyTileMark, 0, 0, 0});
        continue;
      }
      appendTileRecord(out, encodeBtcStream(256, 256, tile));
    }
  return out;
}

}  // namespace vellmark
