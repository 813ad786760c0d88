// Fuzz target: the image layer. Any bytes either decode into an image of the size it reports,
// which the PNG encoder writes and the decoder reads back to the same pixels, or raise
// vellmark::Error.
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "image/image_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  try {
    const auto image = vellmark::decodeImage(copy, "fuzz input");
    if (image.pixels.size() != std::size_t{image.width} * image.height * 4) __builtin_trap();
    if (std::uint64_t{image.width} * image.height <= (1u << 20) &&
        vellmark::decodeImage(vellmark::encodePng(image), "round trip").pixels != image.pixels)
      __builtin_trap();
  } catch (const vellmark::Error&) {
  }
  return 0;
}
