#include "image/sky_picture.h"

#include <algorithm>
#include <string>

#include "base/error.h"
#include "image/resample.h"

namespace vellmark {

SkyRegion skyRegion(std::uint32_t width, std::uint32_t height, const SkyFraming& framing, std::uint32_t skyWidth,
                    std::uint32_t skyHeight) {
  const std::uint64_t twice = std::uint64_t{height} * 2;
  const bool panorama = height > 0 && (twice == width || twice == std::uint64_t{width} + 1 || twice + 1 == width);
  if (!panorama) {
    if (framing.horizon || framing.band)
      fail(ErrorKind::Argument, "--horizon and --band frame a 2:1 panorama; a " + std::to_string(width) + " x " +
                                    std::to_string(height) + " picture is scaled whole");
    return {false, 0, height};
  }
  const std::uint32_t horizon = framing.horizon.value_or(height / 2);
  if (horizon > height || horizon == 0)
    fail(ErrorKind::Argument, "horizon row " + std::to_string(horizon) + " is outside the picture's rows 1.." +
                                  std::to_string(height));
  // The sky spans 360 degrees in skyWidth columns; rows as square as columns take
  // width x skyHeight / skyWidth rows of the panorama.
  const std::uint64_t square = (std::uint64_t{width} * skyHeight + skyWidth / 2) / skyWidth;
  const std::uint64_t band = framing.band.value_or(static_cast<std::uint32_t>(std::max<std::uint64_t>(square, 1)));
  if (band == 0 || band > horizon)
    fail(ErrorKind::Argument, "a band of " + std::to_string(band) + " rows does not fit above the horizon at row " +
                                  std::to_string(horizon));
  return {true, horizon - static_cast<std::uint32_t>(band), static_cast<std::uint32_t>(band)};
}

Image makeSkyPicture(const Image& picture, const SkyFraming& framing, std::uint32_t skyWidth, std::uint32_t skyHeight) {
  const SkyRegion region = skyRegion(picture.width, picture.height, framing, skyWidth, skyHeight);
  if (!region.panorama) return resampleImage(picture, skyWidth, skyHeight, {});
  ResampleOptions options;
  options.horizontalEdge = ResampleEdge::Wrap;
  return resampleRows(picture, region.top, region.rows, skyWidth, skyHeight, options);
}

Image makeSkyPreview(const Image& sky, std::uint32_t width, std::uint32_t height) {
  ResampleOptions options;
  options.horizontalEdge = ResampleEdge::Wrap;
  return resampleImage(sky, width, height, options);
}

}  // namespace vellmark
