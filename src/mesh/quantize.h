// Palette quantizer of the MAP writer: reduces a 32-bit image with alpha to at most 255
// opaque colours plus the transparent entry 0 (magenta), by greedy median-cut style box
// splitting over the 24-bit colour cube that minimises the squared error of each cut.
//
// The game's tools define the result bit for bit: sums are unsigned 32-bit and wrap, cut
// costs are doubles truncated toward zero, ties go to the earlier axis and the lower cut.
// Box sums are taken over the image's distinct colours rather than a 64 MiB histogram;
// sums modulo 2^32 do not depend on the order of addition, so the numbers are the same.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr int kQuantizeMaxBoxes = 255;
inline constexpr std::uint8_t kOpaqueAlphaMin = 64;  // pixels with less alpha are transparent
inline constexpr std::array<std::uint8_t, 3> kTransparentEntry = {255, 0, 255};

struct QuantizedImage {
  int width = 0;
  int height = 0;
  // 256 entries of 3 bytes in the input's byte order: entry i is (blue, green, red).
  std::array<std::uint8_t, 768> palette{};
  std::vector<std::uint8_t> pixels;  // width x height palette indices, rows as in the input
};

// The colour a pixel (blue, green, red, alpha) is counted and mapped as, or nullopt when it
// is transparent (alpha below 64). Partly transparent pixels are un-premultiplied: each
// byte above alpha is first limited to alpha, then every byte becomes c * 255 / alpha.
std::optional<std::array<std::uint8_t, 3>> opaqueColour(const std::uint8_t* bgra);

// Quantizes width x height pixels of 4 bytes (blue, green, red, alpha), rows top first.
// Raises Error(Argument) for a negative size or when `bgra` holds fewer than
// width x height x 4 bytes.
QuantizedImage quantizeImage(int width, int height, Bytes bgra);

}  // namespace vellmark
