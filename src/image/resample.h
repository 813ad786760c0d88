// Resampling pictures with a cubic filter in linear light, colours weighted by alpha, so that
// neither a gamma-encoded average darkens edges nor transparent pixels bleed their colour.
#pragma once

#include <cstdint>

#include "base/tga.h"

namespace vellmark {

enum class ResampleEdge {
  Clamp,  // the picture's edge pixels continue outward
  Wrap,   // the picture continues from its other side, as a 360-degree panorama does
};

enum class ResampleFilter {
  Mitchell,    // smooth, no ringing; the default for reductions
  CatmullRom,  // interpolating, sharper, a little ringing at hard edges
};

struct ResampleOptions {
  ResampleEdge horizontalEdge = ResampleEdge::Clamp;
  ResampleEdge verticalEdge = ResampleEdge::Clamp;
  ResampleFilter filter = ResampleFilter::Mitchell;
};

// The rows [top, top + rows) of `image` scaled to `width` x `height`. The filter reads the
// rows around the region too, where the picture has them, so that a band cut from a taller
// picture has no seam at its edges. Error(Argument) for an empty output or region, a region
// outside the picture, or an image holding fewer pixel bytes than its size needs.
Image resampleRows(const Image& image, std::uint32_t top, std::uint32_t rows, std::uint32_t width,
                   std::uint32_t height, const ResampleOptions& options);

// The whole picture scaled to `width` x `height`; a copy when the size is already that.
Image resampleImage(const Image& image, std::uint32_t width, std::uint32_t height, const ResampleOptions& options);

}  // namespace vellmark
