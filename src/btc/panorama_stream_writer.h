// The panorama streams (laid out as btc/panorama_stream.h describes) made from ordinary
// images with the block encoder.
#pragma once

#include <cstdint>
#include <vector>

#include "base/tga.h"

namespace vellmark {

// The sky panorama stream of a 4800 x 320 image (Error(Argument) for another size):
// 19 wide tiles for the upper 256 rows and 75 tiles of 64 for the lower 64 rows.
std::vector<std::uint8_t> makeSkyPanoramaStream(const Image& image);

// The tiled panorama stream of an image of at most 768 rows and 5,529,600 pixels in at
// most 94 tiles (Error(Unsupported) otherwise); all-zero tiles become "t" records.
std::vector<std::uint8_t> makeTiledPanoramaStream(const Image& image);

}  // namespace vellmark
