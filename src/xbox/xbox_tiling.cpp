#include "xbox/xbox_tiling.h"

#include <cstring>
#include <string>

#include "xbox/xbox_format.h"
#include "base/error.h"

namespace vellmark::xbox {

namespace {

void checkRect(const TiledRect& r, std::size_t tiledSize) {
  if (r.log2Bytes > 4) fail(ErrorKind::Unsupported, "tiled surface: blocks of more than 16 bytes");
  if (r.pitchBlocks % 32 != 0 || r.pitchBlocks == 0)
    fail(ErrorKind::Corrupt, "tiled surface: pitch of " + std::to_string(r.pitchBlocks) +
                                 " blocks is not a multiple of 32");
  if (static_cast<std::uint64_t>(r.x) + r.widthBlocks > r.pitchBlocks)
    fail(ErrorKind::Corrupt, "tiled surface: " + std::to_string(r.x + std::uint64_t{r.widthBlocks}) +
                                 " blocks do not fit a pitch of " + std::to_string(r.pitchBlocks));
  const std::uint64_t extent = tiledExtent(r);
  if (extent > tiledSize)
    fail(ErrorKind::Truncated, "tiled surface: " + std::to_string(extent) + " bytes needed, " +
                                   std::to_string(tiledSize) + " present");
}

}  // namespace

std::uint64_t tiledExtent(const TiledRect& r) {
  if (r.widthBlocks == 0 || r.heightBlocks == 0) return 0;
  // One- and two-byte blocks share a 4 KB page between four or two tiles, so the last
  // page is whole even when the surface ends inside it.
  const std::uint64_t bytes = (std::uint64_t{alignUp(r.y + r.heightBlocks, 32)} * r.pitchBlocks) << r.log2Bytes;
  return (bytes + 4095) / 4096 * 4096;
}

TiledRowReader::TiledRowReader(Bytes src, const TiledRect& r) : src_(src.data()), rect_(r) {
  checkRect(r, src.size());
  // Inside a tile every aligned group of 16 bytes of a block row (8 one-byte blocks) is
  // stored together.
  const std::uint32_t perRun = r.log2Bytes == 0 ? 8u : 16u >> r.log2Bytes;
  const std::uint32_t end = r.x + r.widthBlocks;
  for (std::uint32_t x = r.x; x < end;) {
    std::uint32_t run = perRun - (x & (perRun - 1));
    if (run > end - x) run = end - x;
    runs_.push_back({x, tiledOffset(x, 0, r.pitchBlocks, r.log2Bytes), run << r.log2Bytes});
    x += run;
  }
}

void TiledRowReader::copyRow(std::uint32_t row, std::uint8_t* dst) const { copyRows(row, 1, dst, 0); }

void TiledRowReader::copyRows(std::uint32_t firstRow, std::uint32_t rows, std::uint8_t* dst, std::size_t dstPitch) const {
  const TiledRect& r = rect_;
  std::size_t column = 0;
  // One tile column at a time: its runs in every row, so that reads stay inside the tile
  // and writes stay in a short stretch of each row.
  for (std::size_t first = 0; first < runs_.size();) {
    std::size_t last = first + 1;
    while (last < runs_.size() && (runs_[last].x >> 5) == (runs_[first].x >> 5)) ++last;
    std::uint8_t* rowOut = dst + column;
    for (std::uint32_t row = firstRow; row < firstRow + rows; ++row, rowOut += dstPitch) {
      const std::uint32_t y = r.y + row;
      std::uint8_t* out = rowOut;
      if (r.log2Bytes >= 2) {
        // The y part of the address (without its pipe bit) adds to the x part; the pipe
        // bit of y flips bit 7.
        const std::uint32_t pipeFlip = ((y >> 3) & 1) << 7;
        const std::uint32_t yOffset = tiledOffset(0, y, r.pitchBlocks, r.log2Bytes) ^ pipeFlip;
        for (std::size_t i = first; i < last; ++i) {
          const Run& run = runs_[i];
          const std::uint8_t* from = src_ + ((run.xOffset + yOffset) ^ pipeFlip);
          if (run.bytes == 16)
            std::memcpy(out, from, 16);  // the usual whole run, copied inline
          else
            std::memcpy(out, from, run.bytes);
          out += run.bytes;
        }
      } else {
        for (std::size_t i = first; i < last; ++i) {
          std::memcpy(out, src_ + tiledOffset(runs_[i].x, y, r.pitchBlocks, r.log2Bytes), runs_[i].bytes);
          out += runs_[i].bytes;
        }
      }
    }
    for (std::size_t i = first; i < last; ++i) column += runs_[i].bytes;
    first = last;
  }
}

void untile(Bytes src, const TiledRect& r, std::span<std::uint8_t> dst, std::size_t dstRowPitch) {
  const TiledRowReader reader(src, r);
  if (r.widthBlocks == 0 || r.heightBlocks == 0) return;
  const std::uint64_t rowBytes = std::uint64_t{r.widthBlocks} << r.log2Bytes;
  if (dstRowPitch < rowBytes || !rangeFits(0, (r.heightBlocks - 1) * std::uint64_t{dstRowPitch} + rowBytes, dst.size()))
    fail(ErrorKind::Truncated, "linear surface too small for the tiled rectangle");
  for (std::uint32_t row = 0; row < r.heightBlocks; ++row) reader.copyRow(row, dst.data() + row * dstRowPitch);
}

}  // namespace vellmark::xbox
