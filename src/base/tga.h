// TGA images: the one variant the tools write (uncompressed, 32 bits, B,G,R,A, top row
// first), the few header fields they read from inputs, and the reader of ordinary
// uncompressed true-colour images that the encoders start from.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::size_t kTgaHeaderSize = 18;
inline constexpr std::uint8_t kTgaImageTypeTrueColour = 2;
inline constexpr std::uint8_t kTgaPixelDepth32 = 32;
inline constexpr std::uint8_t kTgaDescriptorTopFirst = 0x20;     // first stored row is the top row
inline constexpr std::uint8_t kTgaDescriptorRightToLeft = 0x10;  // first stored column is the right one
inline constexpr std::uint8_t kTgaDescriptorTopFirstAlpha8 = 0x28;
// Bytes 16-17 read as one little-endian word: 32 bits, top row first, no alpha bits.
inline constexpr std::uint16_t kTgaSystemLayout = 0x2020;

// An image in memory: 4 bytes B, G, R, A per pixel, rows packed, top row first.
struct Image {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;
};

// The 18-byte header, field by field (the image origin is not kept: nothing reads it).
struct TgaHeader {
  std::uint8_t idLength = 0;
  std::uint8_t mapType = 0;  // 1: a colour map follows the ID field
  std::uint8_t imageType = 0;
  std::uint16_t mapStart = 0;  // first entry index
  std::uint16_t mapLength = 0;
  std::uint8_t mapBits = 0;  // bits per map entry
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint8_t pixelDepth = 0;
  std::uint8_t descriptor = 0;
  // Bytes 16 and 17 as one little-endian word (depth low, descriptor high).
  std::uint16_t depthAndDescriptor() const { return static_cast<std::uint16_t>(pixelDepth | (descriptor << 8)); }
  std::int16_t signedWidth() const { return static_cast<std::int16_t>(width); }
  // The colour map follows the ID field, the pixels follow the map. Any map type but 0
  // counts as a map here; types above 1 are reserved, and readers refuse them or skip the map.
  std::size_t mapOffset() const { return kTgaHeaderSize + idLength; }
  std::size_t mapBytes() const { return std::size_t{mapLength} * ((mapBits + 7u) / 8); }
  std::size_t dataOffset() const { return mapOffset() + (mapType != 0 ? mapBytes() : 0); }
};

// Reads the header of `file`; raises Error(Truncated) naming `what` when it is shorter
// than 18 bytes.
TgaHeader readTgaHeader(Bytes file, const std::string& what);

// The pixel bytes `rows` x `rowBytes` starting at byte 18, whatever the ID length says;
// raises Error(Truncated) naming `what` when the file is shorter.
Bytes tgaPixelRows(Bytes file, std::size_t rowBytes, std::size_t rows, const std::string& what);

// The 18-byte header the tools write: type 2, depth 32, the given descriptor.
std::array<std::uint8_t, kTgaHeaderSize> makeTgaHeader(std::uint16_t width, std::uint16_t height,
                                                       std::uint8_t descriptor = kTgaDescriptorTopFirst);

// Header plus pixels (width x height x 4 bytes, which `pixels` must hold) as one buffer.
std::vector<std::uint8_t> makeTgaImage(std::uint16_t width, std::uint16_t height, Bytes pixels,
                                       std::uint8_t descriptor = kTgaDescriptorTopFirst);

// Reads an uncompressed true-colour TGA (image type 2, 24 or 32 bits) honouring its ID
// field, colour map and row order, so that the image comes out top row first; 24-bit pixels
// get alpha 255. Raises Error(Unsupported) for other kinds, Error(Truncated) for short data.
Image readTgaImage(Bytes tga, const std::string& what);

// Raises Error(Argument) naming `what` when `image` holds fewer pixel bytes than its size needs.
void checkImagePixels(const Image& image, const std::string& what);

// `tga`'s header with bytes 16-17 set to 20 20 (the system layout), then its first `rows`
// rows of `rowBytes` from byte 18 in reverse order, whatever the ID length says. Raises
// Error(Truncated) naming `what` when the file is shorter.
std::vector<std::uint8_t> flipTgaRows(Bytes tga, std::size_t rowBytes, std::size_t rows, const std::string& what);

}  // namespace vellmark
