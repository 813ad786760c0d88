#include "xbox/xbox_texture.h"

#include <algorithm>
#include <string>

#include "base/error.h"

namespace vellmark::xbox {

namespace {

std::uint32_t ceilLog2(std::uint32_t n) {
  std::uint32_t k = 0;
  while (k < 31 && (1u << k) < n) ++k;
  return k;
}

std::uint32_t nextPow2(std::uint32_t n) { return 1u << ceilLog2(n); }

std::uint32_t pageAligned(std::uint64_t bytes) {
  const std::uint64_t aligned = (bytes + kPageSize - 1) / kPageSize * kPageSize;
  if (aligned > 0xFFFFFFFFu) fail(ErrorKind::Unsupported, "texture level of more than 4 GB");
  return static_cast<std::uint32_t>(aligned);
}

// Slot of a level whose rows are `storedWidth` texels apart (before padding) and that
// has `storedHeight` rows of texels.
LevelSlot makeSlot(const TextureLayout& t, std::uint32_t width, std::uint32_t height, std::uint32_t storedWidth,
                   std::uint32_t storedHeight) {
  LevelSlot s;
  s.width = width;
  s.height = height;
  s.widthBlocks = divideRoundingUp(width, t.block.width);
  s.heightBlocks = divideRoundingUp(height, t.block.height);
  const std::uint32_t storedBlocks = divideRoundingUp(storedWidth, t.block.width);
  if (t.tiled()) {
    s.pitchBlocks = alignUp(storedBlocks, kTileBlocks);
    s.rowPitch = s.pitchBlocks * t.block.bytes;
  } else {
    s.pitchBlocks = storedBlocks;
    s.rowPitch = alignUp(storedBlocks * t.block.bytes, kLinearRowAlignment);
  }
  s.rows = alignUp(divideRoundingUp(storedHeight, t.block.height), kTileBlocks);
  s.size = pageAligned(std::uint64_t{s.rowPitch} * s.rows);
  return s;
}

// The slot a level has when it is not packed into a tail.
LevelSlot ownSlot(const TextureLayout& t, std::uint32_t level) {
  const std::uint32_t width = std::max(1u, t.width >> level);
  const std::uint32_t height = std::max(1u, t.height >> level);
  if (level == 0) {
    // Level 0 is as wide as the fetch constant's pitch and as high as the texture.
    return makeSlot(t, width, height, t.pitchField * 32, height);
  }
  // Later levels are laid out as halvings of the next power of two.
  return makeSlot(t, width, height, std::max(1u, nextPow2(t.width) >> level), std::max(1u, nextPow2(t.height) >> level));
}

// Texel position of `level` inside the tail of a width x height texture.
void tailTexelPosition(std::uint32_t width, std::uint32_t height, std::uint32_t tailBase, std::uint32_t level,
                       std::uint32_t& x, std::uint32_t& y) {
  x = y = 0;
  if (level < tailBase) return;
  const std::uint32_t p = level - tailBase;
  const std::uint32_t lw = ceilLog2(width), lh = ceilLog2(height);
  const bool wide = lw > lh;  // a square texture counts as tall
  if (p < 3) {
    (wide ? y : x) = 16u >> p;
  } else {
    const std::uint32_t shift = std::max(lw, lh) - std::min(tailBase, std::max(lw, lh));
    const std::uint32_t along = p - 2 >= 32 ? 0 : (1u << shift) >> (p - 2);
    (wide ? x : y) = along;
  }
}

}  // namespace

std::uint32_t TextureHeader::format() const {
  const std::uint32_t f0 = fetch(0), f1 = fetch(1), f3 = fetch(3);
  return (f1 & 0xFF) | ((f0 >> 31) << 8) | (((f0 >> 2) & 0xFF) << 9) | ((f3 & 1) << 17) | (((f3 >> 1) & 0xFFF) << 18);
}

std::uint32_t mipTailBaseLevel(std::uint32_t width, std::uint32_t height, bool border) {
  const std::uint32_t lw = border ? ceilLog2(width > 2 ? width - 2 : 0) + 1 : ceilLog2(width);
  const std::uint32_t lh = border ? ceilLog2(height > 2 ? height - 2 : 0) + 1 : ceilLog2(height);
  const std::uint32_t smaller = std::min(lw, lh);
  return smaller > 4 ? smaller - 4 : 0;
}

TextureLayout makeTextureLayout(std::uint32_t width, std::uint32_t height, std::uint32_t levels, std::uint32_t faces,
                                std::uint32_t format, std::uint32_t pitchField, std::uint32_t baseAddress,
                                std::uint32_t mipAddress, std::uint32_t flags) {
  TextureLayout t;
  t.width = std::max(1u, width);
  t.height = std::max(1u, height);
  t.levels = std::clamp(levels, 1u, 16u);
  t.faces = std::max(1u, faces);
  t.format = format;
  t.pitchField = pitchField;
  t.baseAddress = baseAddress;
  t.mipAddress = mipAddress;
  t.flags = flags;
  t.block = blockInfo(format & 0x3F);
  if (t.block.bytes == 0)
    fail(ErrorKind::Unsupported, std::string("texture format ") + gpuFormatName(format & 0x3F) + " holds no texture data");
  if (t.tiled() && (t.block.bytes & (t.block.bytes - 1)) != 0)
    fail(ErrorKind::Unsupported, std::string("texture format ") + gpuFormatName(format & 0x3F) + " cannot be tiled");
  const bool packed = (flags & kLayoutNonPacked) == 0 && t.levels > 1;
  t.tailBase = packed ? std::min(mipTailBaseLevel(t.width, t.height, (flags & kLayoutBorder) != 0), t.levels) : t.levels;
  const LevelSlot top = ownSlot(t, 0);
  if (divideRoundingUp(t.pitchField * 32, t.block.width) < top.widthBlocks)
    fail(ErrorKind::Corrupt, "texture pitch of " + std::to_string(t.pitchField * 32) + " texels is narrower than its width " +
                                 std::to_string(t.width));
  return t;
}

TextureLayout makeTextureLayout(const TextureHeader& h) {
  return makeTextureLayout(h.width(), h.height(), h.levelCount(), h.cube() ? 6 : 1, h.format(), h.pitchField(),
                           h.baseAddress(), h.mipAddress(), h.layoutFlags());
}

LevelSlot mipTailSlot(const TextureLayout& t) {
  const std::uint32_t base = std::min(mipTailBaseLevel(t.width, t.height, (t.flags & kLayoutBorder) != 0), t.levels - 1);
  return ownSlot(t, base);
}

LevelSlot levelSlot(const TextureLayout& t, std::uint32_t level) {
  return t.inTail(level) ? mipTailSlot(t) : ownSlot(t, level);
}

std::uint32_t mipTailLevelOffset(std::uint32_t width, std::uint32_t height, std::uint32_t /*depth*/,
                                 std::uint32_t level, std::uint32_t gpuFormat, bool tiled, bool border) {
  width = std::max(1u, width);
  height = std::max(1u, height);
  const std::uint32_t tailBase = mipTailBaseLevel(width, height, border);
  if (level < tailBase) return 0;
  const BlockInfo block = blockInfo(gpuFormat);
  if (block.bytes == 0) return 0;
  std::uint32_t x, y;
  tailTexelPosition(width, height, tailBase, level, x, y);
  const std::uint32_t bx = x / block.width, by = y / block.height;
  const std::uint32_t storedBlocks = divideRoundingUp(std::max(1u, nextPow2(width) >> tailBase), block.width);
  const std::uint32_t pitchBlocks = alignUp(storedBlocks, kTileBlocks);
  if (tiled) return tiledOffset(bx, by, pitchBlocks, block.log2Bytes);
  return by * alignUp(pitchBlocks * block.bytes, kLinearRowAlignment) + bx * block.bytes;
}

BlockPosition mipTailLevelPosition(const TextureLayout& t, std::uint32_t level) {
  if (!t.inTail(level)) return {};
  std::uint32_t x, y;
  tailTexelPosition(t.width, t.height, mipTailBaseLevel(t.width, t.height, (t.flags & kLayoutBorder) != 0), level, x, y);
  return {x / t.block.width, y / t.block.height};
}

std::uint64_t faceLevelOffset(const TextureLayout& t, std::uint32_t face, std::uint32_t level) {
  const auto tailOffset = [&] {
    return t.inTail(level) ? mipTailLevelOffset(t.width, t.height, 1, level, t.format & 0x3F, t.tiled(),
                                                (t.flags & kLayoutBorder) != 0)
                           : 0;
  };
  if (level == 0 || (t.inTail(level) && t.tailBase == 0))
    return std::uint64_t{face} * ownSlot(t, 0).size + tailOffset();
  const std::uint32_t slotLevel = std::min(level, t.tailBase);
  std::uint64_t offset = 0;
  for (std::uint32_t k = 1; k < slotLevel; ++k) offset += std::uint64_t{t.faces} * ownSlot(t, k).size;
  return offset + std::uint64_t{face} * ownSlot(t, slotLevel).size + tailOffset();
}

}  // namespace vellmark::xbox
