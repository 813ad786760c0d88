#include "image/resample.h"

#include <string>

#include "base/error.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#endif
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#define STB_IMAGE_RESIZE_STATIC
#include <stb_image_resize.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace vellmark {

namespace {

stbir_edge edgeOf(ResampleEdge edge) { return edge == ResampleEdge::Wrap ? STBIR_EDGE_WRAP : STBIR_EDGE_CLAMP; }

stbir_filter filterOf(ResampleFilter filter) {
  return filter == ResampleFilter::CatmullRom ? STBIR_FILTER_CATMULLROM : STBIR_FILTER_MITCHELL;
}

}  // namespace

Image resampleRows(const Image& image, std::uint32_t top, std::uint32_t rows, std::uint32_t width,
                   std::uint32_t height, const ResampleOptions& options) {
  checkImagePixels(image, "picture to resample");
  if (width == 0 || height == 0 || rows == 0 || image.width == 0 || top > image.height || rows > image.height - top)
    fail(ErrorKind::Argument, "cannot scale rows " + std::to_string(top) + ".." + std::to_string(std::uint64_t{top} + rows) +
                                  " of a " + std::to_string(image.width) + " x " + std::to_string(image.height) +
                                  " picture to " + std::to_string(width) + " x " + std::to_string(height));
  if (width > 0x7fffffffu / 4 || height > 0x7fffffffu || image.width > 0x7fffffffu / 4)
    fail(ErrorKind::Unsupported, "picture too large to scale");
  Image out;
  out.width = width;
  out.height = height;
  out.pixels.resize(std::size_t{width} * height * 4);
  // Channels are B, G, R, A: alpha is channel 3 whatever the order of the other three.
  const int ok = stbir_resize_region(
      image.pixels.data(), static_cast<int>(image.width), static_cast<int>(image.height), static_cast<int>(image.width * 4),
      out.pixels.data(), static_cast<int>(width), static_cast<int>(height), static_cast<int>(width * 4), STBIR_TYPE_UINT8,
      4, 3, 0, edgeOf(options.horizontalEdge), edgeOf(options.verticalEdge), filterOf(options.filter),
      filterOf(options.filter), STBIR_COLORSPACE_SRGB, nullptr, 0.0f, static_cast<float>(double(top) / image.height),
      1.0f, static_cast<float>(double(std::uint64_t{top} + rows) / image.height));
  if (!ok) fail(ErrorKind::Unsupported, "the picture could not be scaled (out of memory)");
  return out;
}

Image resampleImage(const Image& image, std::uint32_t width, std::uint32_t height, const ResampleOptions& options) {
  if (image.width == width && image.height == height) {
    checkImagePixels(image, "picture to resample");
    return image;
  }
  return resampleRows(image, 0, image.height, width, height, options);
}

}  // namespace vellmark
