// Writers of the game's BTC containers from ordinary images, built on the block encoder:
// tiled "BTCV" texture files, sky panorama streams and tiled panorama streams, and the
// tga2btc tool.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/host.h"
#include "base/byte_reader.h"

namespace vellmark {

// An image in memory: 4 bytes B, G, R, A per pixel, rows packed, top row first.
struct Image {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;
};

// Reads an uncompressed true-colour TGA (image type 2, 24 or 32 bits) honouring its ID
// field and its row order, so that the image comes out top row first; 24-bit pixels get
// alpha 255. Raises Error(Unsupported) for other kinds, Error(Truncated) for short data.
Image readTgaImage(Bytes tga, const std::string& what);

// A tiled "BTCV" file of `image`: square tiles of 256 pixels (or, for a smaller image, its
// larger side rounded up to whole blocks), placed from the bottom-left corner so that only
// tiles on the top and right edges overhang and BTC2TGA clips them. Tiles whose streams
// are identical share one tileId and one stream. Raises Error(Unsupported) for images
// above 65,535 pixels a side or whose tiles would start beyond column or row 32,767.
std::vector<std::uint8_t> makeBtcFile(const Image& image);

// The sky panorama stream of a 4800 x 320 image (Error(Argument) for another size):
// 19 wide tiles for the upper 256 rows and 75 tiles of 64 for the lower 64 rows.
std::vector<std::uint8_t> makeSkyPanoramaStream(const Image& image);

// The tiled panorama stream of an image of at most 768 rows and 5,529,600 pixels in at
// most 94 tiles (Error(Unsupported) otherwise); all-zero tiles become "t" records.
std::vector<std::uint8_t> makeTiledPanoramaStream(const Image& image);

// The tool: the TGA at `tgaPath` as a "BTCV" file at `btcPath`. Raises Error(Io) when the
// output cannot be written.
void tgaToBtc(Host& host, const std::string& tgaPath, const std::string& btcPath);

}  // namespace vellmark
