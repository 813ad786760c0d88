// The Xbox 360 GPU's tiled surface layout: where block (x, y) of a 2-D surface (or of one
// cube face) lies in memory, and the copies between the tiled and the linear layout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark::xbox {

// Byte offset of block (x, y) in a tiled surface whose pitch is `pitchBlocks` (a multiple
// of 32) and whose blocks are 1 << log2Bytes bytes (log2Bytes 0..4). Surfaces are made of
// 32 x 32-block tiles, each spread over memory banks and pipes.
constexpr std::uint32_t tiledOffset(std::uint32_t x, std::uint32_t y, std::uint32_t pitchBlocks,
                                    std::uint32_t log2Bytes) {
  const std::uint32_t macro = (y >> 5) * (pitchBlocks >> 5) + (x >> 5);
  const std::uint32_t micro = ((y >> 1) & 7) * 8 + (x & 7);
  const std::uint32_t t = (macro * 64 + micro) << log2Bytes;
  const std::uint32_t bank = (y >> 4) & 1;
  const std::uint32_t pipe = ((x >> 3) & 3) ^ (((y >> 3) & 1) * 2);
  return (t >> 8) * 4096 + bank * 2048 + ((t >> 5) & 7) * 256 + pipe * 64 + ((t >> 4) & 1) * 32 +
         (y & 1) * 16 + (t & 15);
}

// A rectangle of blocks inside a tiled surface.
struct TiledRect {
  std::uint32_t pitchBlocks = 32;  // multiple of 32
  std::uint32_t log2Bytes = 0;     // bytes per block = 1 << log2Bytes, at most 16
  std::uint32_t x = 0, y = 0;      // first block
  std::uint32_t widthBlocks = 0, heightBlocks = 0;
};

// Bytes a tiled surface must hold for `rect` to lie inside it: the whole pitch times the
// rows of the rectangle rounded up to a tile, rounded up to 4 KB pages (every address of
// those rows lies below that).
std::uint64_t tiledExtent(const TiledRect& rect);

// Reads the block rows of a tiled rectangle one after another. The runs of a row that are
// contiguous in memory are worked out once; for blocks of 4 bytes and more the address
// splits into a part of x and a part of y, so a row costs one add per run.
class TiledRowReader {
 public:
  // Raises Error(Corrupt) when the pitch is not a multiple of 32 or too narrow for the
  // rectangle, Error(Truncated) when `src` is shorter than tiledExtent().
  TiledRowReader(Bytes src, const TiledRect& rect);
  // Copies block row `row` of the rectangle into `dst` (widthBlocks << log2Bytes bytes).
  void copyRow(std::uint32_t row, std::uint8_t* dst) const;
  // Copies `rows` block rows from `firstRow` on into `dst`, rows `dstPitch` bytes apart,
  // reading tile after tile: memory is then read in order, which is much faster than row
  // by row for surfaces larger than the caches. Best used for the rows of one tile row.
  void copyRows(std::uint32_t firstRow, std::uint32_t rows, std::uint8_t* dst, std::size_t dstPitch) const;

 private:
  struct Run {
    std::uint32_t x;        // first block
    std::uint32_t xOffset;  // its address in row 0, pipe bits included
    std::uint32_t bytes;
  };
  const std::uint8_t* src_;
  TiledRect rect_;
  std::vector<Run> runs_;
};

// Copies `rect` out of the tiled surface `src` into linear rows of `dst` (row r at
// r * dstRowPitch). Raises Error(Corrupt) when the pitch is not a multiple of 32 or too
// narrow for the rectangle, and Error(Truncated) when `src` is shorter than tiledExtent()
// or `dst` too small; nothing outside either span is touched.
void untile(Bytes src, const TiledRect& rect, std::span<std::uint8_t> dst, std::size_t dstRowPitch);

}  // namespace vellmark::xbox
