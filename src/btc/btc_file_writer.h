// The tiled BTC texture file ("BTCV", laid out as btc/btc_file.h describes) made from an
// ordinary image with the block encoder.
#pragma once

#include <cstdint>
#include <vector>

#include "base/tga.h"

namespace vellmark {

// A tiled "BTCV" file of `image`: square tiles of 256 pixels (or, for a smaller image, its
// larger side rounded up to whole blocks), placed from the bottom-left corner so that only
// tiles on the top and right edges overhang and BTC2TGA clips them. Tiles whose streams
// are identical share one tileId and one stream. Raises Error(Unsupported) for images
// above 65,535 pixels a side or whose tiles would start beyond column or row 32,767.
std::vector<std::uint8_t> makeBtcFile(const Image& image);

}  // namespace vellmark
