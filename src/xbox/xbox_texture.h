// The Xbox 360 texture header (13 words, the last six the GPU's texture fetch constant)
// and the memory layout of a texture's levels, faces and packed mip tail.
//
// Base and mip addresses are kept as byte offsets into a bundle's data block, never as
// host addresses: a pointer does not fit the fetch constant's 20-bit page fields.
#pragma once

#include <array>
#include <cstdint>

#include "xbox/xbox_format.h"
#include "xbox/xbox_tiling.h"
#include "base/byte_reader.h"

namespace vellmark::xbox {

inline constexpr std::size_t kTextureHeaderWords = 13;
inline constexpr std::size_t kTextureHeaderSize = kTextureHeaderWords * 4;
inline constexpr std::size_t kFetchConstantWord = 7;  // header word of fetch constant word 0
inline constexpr std::uint32_t kPageSize = 4096;      // levels, faces and blocks are aligned to it
inline constexpr std::uint32_t kLinearRowAlignment = 256;
inline constexpr std::uint32_t kTileBlocks = 32;

// Layout flags: the level data are not packed into a mip tail; the texture has a border.
inline constexpr std::uint32_t kLayoutNonPacked = 1;
inline constexpr std::uint32_t kLayoutBorder = 2;

struct TextureHeader {
  std::array<std::uint32_t, kTextureHeaderWords> words{};

  std::uint32_t fetch(int i) const { return words[kFetchConstantWord + static_cast<std::size_t>(i)]; }
  std::uint32_t& fetch(int i) { return words[kFetchConstantWord + static_cast<std::size_t>(i)]; }

  bool tiled() const { return (fetch(0) >> 31) != 0; }
  std::uint32_t pitchField() const { return (fetch(0) >> 22) & 0x1FF; }  // units of 32 texels
  std::uint32_t baseAddress() const { return fetch(1) & ~0xFFFu; }
  std::uint32_t width() const { return (fetch(2) & 0x1FFF) + 1; }
  std::uint32_t height() const { return ((fetch(2) >> 13) & 0x1FFF) + 1; }
  bool border() const { return (fetch(3) >> 31) != 0; }
  std::uint32_t levelCount() const { return ((fetch(4) >> 6) & 0xF) + 1; }
  bool cube() const { return ((fetch(5) >> 9) & 3) == 3; }
  bool packedMips() const { return ((fetch(5) >> 11) & 1) != 0; }
  std::uint32_t mipAddress() const { return fetch(5) & ~0xFFFu; }
  // The format code, rebuilt from the fetch constant's fields.
  std::uint32_t format() const;
  // 1 when the mips are not packed, plus 2 for a border: what the layout and the untiling
  // copy are given.
  std::uint32_t layoutFlags() const { return (packedMips() ? 0 : kLayoutNonPacked) | (border() ? kLayoutBorder : 0); }
};

// Storage of one level slot (one face): the level's size, and the padded surface that
// holds it.
struct LevelSlot {
  std::uint32_t width = 1, height = 1;              // texels of the level
  std::uint32_t widthBlocks = 1, heightBlocks = 1;  // blocks of the level
  std::uint32_t pitchBlocks = 0;                    // tiled surfaces: blocks per padded row
  std::uint32_t rowPitch = 0;                       // bytes per row of blocks
  std::uint32_t rows = 0;                           // rows of blocks, padded to a tile
  std::uint32_t size = 0;                           // bytes of the slot, whole pages
};

struct TextureLayout {
  std::uint32_t width = 1, height = 1, levels = 1, faces = 1;
  std::uint32_t format = 0;  // with the tiled bit
  std::uint32_t pitchField = 0;
  std::uint32_t baseAddress = 0, mipAddress = 0;
  std::uint32_t flags = 0;
  BlockInfo block;
  std::uint32_t tailBase = 0;  // first level in the packed tail; == levels when there is none

  bool tiled() const { return (format & kFormatTiledBit) != 0; }
  bool inTail(std::uint32_t level) const { return level >= tailBase; }
};

// First level stored in the packed mip tail: the first whose smaller side is at most 16
// texels (with a border, measured without it).
std::uint32_t mipTailBaseLevel(std::uint32_t width, std::uint32_t height, bool border);

// The layout of a texture. A single-level texture never has a tail, whatever the packed
// flag says. Raises Error(Unsupported) for formats that hold no texture data or for a
// tiled 12-byte format, and Error(Corrupt) for a level-0 pitch narrower than the texture.
TextureLayout makeTextureLayout(std::uint32_t width, std::uint32_t height, std::uint32_t levels, std::uint32_t faces,
                                std::uint32_t format, std::uint32_t pitchField, std::uint32_t baseAddress,
                                std::uint32_t mipAddress, std::uint32_t flags);
TextureLayout makeTextureLayout(const TextureHeader& header);

// The slot of `level`: its own, or the tail's for a level in the tail.
LevelSlot levelSlot(const TextureLayout& layout, std::uint32_t level);
// The slot that holds the packed tail (with the tail base level's size).
LevelSlot mipTailSlot(const TextureLayout& layout);

// Byte offset of `level` inside the packed tail (0 for a level before the tail): its
// position in texels, 16, 8, 4 along one side and then halving along the other, turned
// into blocks and addressed tiled or linearly. Depth is accepted for volume textures and
// not used by 2-D and cube textures.
std::uint32_t mipTailLevelOffset(std::uint32_t width, std::uint32_t height, std::uint32_t depth,
                                 std::uint32_t level, std::uint32_t gpuFormat, bool tiled, bool border);
// The position of `level` inside the tail, in blocks.
struct BlockPosition {
  std::uint32_t x = 0, y = 0;
};
BlockPosition mipTailLevelPosition(const TextureLayout& layout, std::uint32_t level);

// Offset of (face, level) from the base address (level 0) or the mip address (others);
// for a level in the tail it points at the level inside the tail.
std::uint64_t faceLevelOffset(const TextureLayout& layout, std::uint32_t face, std::uint32_t level);

}  // namespace vellmark::xbox
