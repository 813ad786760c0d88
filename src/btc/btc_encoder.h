// BTC block-stream encoder: the inverse of decodeBtcStream, for making the game's textures
// and panoramas from ordinary images. Each 4 x 4 block becomes
//   type 1 (empty run)  when all 16 pixels are 0 (transparent black),
//   type 4 (solid run)  when all 16 pixels are the same (stored exactly),
//   type 2 (opaque run) when every alpha is 255,
//   type 3 (alpha run)  otherwise,
// and consecutive blocks of one type are merged into runs of up to 4096 blocks. Colour
// blocks are fitted along the block's principal colour axis and refined by least squares
// and a local search against the decoder's exact palette; alpha blocks try both alpha modes.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/byte_reader.h"
#include "base/tga.h"

namespace vellmark {

// Encodes a width x height image (4 bytes B, G, R, A per pixel, rows packed, `pixels` at
// least width x height x 4 bytes, else Error(Argument)) as a block stream. Blocks that
// reach past the right or bottom edge repeat the last column or row. An image with a side
// that is not a multiple of 4 encodes fine, but the game's decoder brings back only
// (height + 3) / 4 rows of such an image, so the container writers use whole blocks.
std::vector<std::uint8_t> encodeBtcStream(std::uint16_t width, std::uint16_t height, Bytes pixels);

// The side x side tile of `image` whose top-left pixel is (left, top); pixels outside the
// image repeat the nearest edge pixel, so edge blocks fit as well as inner ones. `image`
// must hold at least one pixel.
std::vector<std::uint8_t> clampedTile(const Image& image, std::int64_t left, std::int64_t top, int side);

// The block stream of that tile.
std::vector<std::uint8_t> encodeBtcTile(const Image& image, std::int64_t left, std::int64_t top, int side);

// One 4 x 4 block (16 pixels B, G, R, A, row by row) as an 8-byte colour block whose
// decoded colours are as close as the search finds; exposed for tests and benchmarks.
std::array<std::uint8_t, 8> encodeColourBlock(const std::uint8_t* block);

}  // namespace vellmark
