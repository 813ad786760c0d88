// Picture files as people keep them: PNG, JPEG, BMP and every TGA kind (true-colour 24/32,
// colour-mapped, greyscale, RLE, either row order) decoded into one Image; PNG and the
// game's TGA encoded from one. The codecs are stb's; this layer decides what is accepted.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "base/tga.h"

namespace vellmark {

// The largest picture decoded: 1 GiB of 4-byte pixels.
inline constexpr std::uint64_t kMaxImagePixels = (std::uint64_t{1} << 30) / 4;

enum class ImageFileKind { Png, Jpeg, Bmp, Tga };

// By the first bytes: the PNG signature, a JPEG start-of-image marker, "BM"; anything else
// is taken for a TGA, which has no signature.
ImageFileKind sniffImageFile(Bytes file);
const char* imageFileKindName(ImageFileKind kind);  // "PNG", "JPEG", "BMP", "TGA"

// Decodes `file` (B,G,R,A, top row first; alpha 255 where the file has none). The size in the
// header is checked against kMaxImagePixels before anything is allocated, and every
// allocation of the decoder is held to what that size needs. Raises Error naming `what`:
// Unsupported for a size above the limit or a file of no kind read here, Truncated for data
// that ends before the pixels it declares, Corrupt for anything else the decoder refuses.
Image decodeImage(Bytes file, const std::string& what);

// What a PNG, JPEG or BMP header says, without decoding the pixels: size and channels
// (1 grey, 2 grey and alpha, 3 colour, 4 colour and alpha). Raises Error(Corrupt) naming
// `what` for a header the decoder refuses, Error(Unsupported) for TGA (it has no header
// to probe; base/tga reads its fields).
struct ImageProbe {
  ImageFileKind kind = ImageFileKind::Png;
  std::uint32_t width = 0, height = 0;
  int channels = 0;
};
ImageProbe probeImage(Bytes file, const std::string& what);

// A PNG file of `image` (8 bits per channel, RGBA, zlib-deflated). Raises Error(Argument)
// when the image holds fewer pixel bytes than its size needs, Error(Unsupported) for an image
// above kMaxImagePixels.
std::vector<std::uint8_t> encodePng(const Image& image);

// A PNG of 8-bit palette indices (colour type 3): `palette` holds 256 entries of red, green,
// blue, alpha; alpha below 255 goes into the file's transparency chunk. A quarter of the data
// of encodePng for pictures that are paletted already. Raises Error(Argument) when `indices`
// holds fewer than width x height bytes, Error(Unsupported) as encodePng.
std::vector<std::uint8_t> encodeIndexedPng(std::uint32_t width, std::uint32_t height, std::span<const std::uint8_t, 1024> palette,
                                           Bytes indices);

// The TGA the game's tools write: 32 bits, uncompressed, top row first. Raises
// Error(Unsupported) for a side above 65,535, Error(Argument) as encodePng.
std::vector<std::uint8_t> encodeTga(const Image& image);

}  // namespace vellmark
