#include "d3dutil/xbox_tiling.h"

#include <cstring>
#include <string>

#include "d3dutil/xbox_format.h"
#include "formats/error.h"

namespace vellmark::xbox {

namespace {

void checkRect(const TiledRect& r, std::size_t tiledSize, std::size_t linearSize, std::size_t rowPitch) {
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
  if (r.widthBlocks == 0 || r.heightBlocks == 0) return;
  const std::uint64_t rowBytes = std::uint64_t{r.widthBlocks} << r.log2Bytes;
  if (rowPitch < rowBytes || !rangeFits(0, (r.heightBlocks - 1) * std::uint64_t{rowPitch} + rowBytes, linearSize))
    fail(ErrorKind::Truncated, "linear surface too small for the tiled rectangle");
}

// Visits the rectangle in runs that are contiguous in both layouts: inside a tile, every
// aligned group of 16 bytes of one block row (8 one-byte blocks) is stored together.
template <class Copy>
void forEachRun(const TiledRect& r, Copy&& copy) {
  const std::uint32_t perRun = r.log2Bytes == 0 ? 8u : 16u >> r.log2Bytes;
  for (std::uint32_t row = 0; row < r.heightBlocks; ++row) {
    const std::uint32_t y = r.y + row;
    std::uint32_t x = r.x;
    const std::uint32_t end = r.x + r.widthBlocks;
    while (x < end) {
      std::uint32_t run = perRun - (x & (perRun - 1));
      if (run > end - x) run = end - x;
      copy(tiledOffset(x, y, r.pitchBlocks, r.log2Bytes), row, x - r.x, std::size_t{run} << r.log2Bytes);
      x += run;
    }
  }
}

}  // namespace

std::uint64_t tiledExtent(const TiledRect& r) {
  if (r.widthBlocks == 0 || r.heightBlocks == 0) return 0;
  // One- and two-byte blocks share a 4 KB page between four or two tiles, so the last
  // page is whole even when the surface ends inside it.
  const std::uint64_t bytes = (std::uint64_t{alignUp(r.y + r.heightBlocks, 32)} * r.pitchBlocks) << r.log2Bytes;
  return (bytes + 4095) / 4096 * 4096;
}

void untile(Bytes src, const TiledRect& r, std::span<std::uint8_t> dst, std::size_t dstRowPitch) {
  checkRect(r, src.size(), dst.size(), dstRowPitch);
  const std::uint8_t* in = src.data();
  std::uint8_t* out = dst.data();
  forEachRun(r, [&](std::uint32_t offset, std::uint32_t row, std::uint32_t column, std::size_t bytes) {
    std::memcpy(out + row * dstRowPitch + (std::size_t{column} << r.log2Bytes), in + offset, bytes);
  });
}

}  // namespace vellmark::xbox
