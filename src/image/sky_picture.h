// The game's sky from any picture. An equirectangular panorama (2:1, 360 degrees across,
// 180 degrees down) gives the band above its horizon, as many rows as keep the sky's
// angles square; any other picture is scaled whole.
#pragma once

#include <cstdint>
#include <optional>

#include "base/tga.h"

namespace vellmark {

struct SkyFraming {
  std::optional<std::uint32_t> horizon;  // the horizon's row in the picture; its middle row when not given
  std::optional<std::uint32_t> band;     // rows above the horizon taken; width x height'/width' when not given
};

struct SkyRegion {
  bool panorama = false;  // a 2:1 picture, cut to its band and wrapped across its seam
  std::uint32_t top = 0;
  std::uint32_t rows = 0;
};

// The rows of a `width` x `height` picture that become a `skyWidth` x `skyHeight` sky: for a
// 2:1 picture (one pixel of slack) the band ending at the horizon, otherwise the whole
// picture. Framing given for a picture that is not 2:1 is Error(Argument), so is a horizon
// below the picture or a band taller than the rows above the horizon.
SkyRegion skyRegion(std::uint32_t width, std::uint32_t height, const SkyFraming& framing, std::uint32_t skyWidth,
                    std::uint32_t skyHeight);

// The `skyWidth` x `skyHeight` sky of `picture`: its region scaled with a cubic filter in
// linear light, weighted by alpha, wrapping across a panorama's left and right edges so that
// the 360-degree seam does not show. A picture of exactly the sky's size is taken as it is.
Image makeSkyPicture(const Image& picture, const SkyFraming& framing, std::uint32_t skyWidth, std::uint32_t skyHeight);

// The preview of a sky: the whole sky scaled to `width` x `height`, wrapping across the seam.
Image makeSkyPreview(const Image& sky, std::uint32_t width, std::uint32_t height);

}  // namespace vellmark
