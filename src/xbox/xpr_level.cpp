#include "xbox/xpr_level.h"

#include "base/error.h"
#include "xbox/xbox_convert.h"
#include "xbox/xbox_format.h"
#include "xbox/xbox_tiling.h"

namespace vellmark {

using namespace xbox;

namespace {

struct MaskRow {
  std::uint32_t mask;
  std::uint32_t format;
};

constexpr MaskRow kChannelMasks[] = {
    {0xFF000000, 0x04900102},
    {0x00FFFFFF, 0x1828014B}, {0x00FFFFFF, 0x1828014C}, {0x00FFFFFF, 0x1828014F}, {0x00FFFFFF, 0x1A20014B},
    {0x00FFFFFF, 0x1A20014C}, {0x00FFFFFF, 0x1A220158}, {0x00FFFFFF, 0x1A2201A1}, {0x00FFFFFF, 0x28000102},
    {0x00FFFFFF, 0x28000158}, {0x00FFFFFF, 0x28280143}, {0x00FFFFFF, 0x28280144}, {0x00FFFFFF, 0x28280145},
    {0x00FFFFFF, 0x28280186}, {0x00FFFFFF, 0x282801B7}, {0x00FFFFFF, 0x282801B8}, {0x00FFFFFF, 0x2A200186},
    {0x00FFFFFF, 0x2A200B45}, {0x00FFFFFF, 0x2A200B86}, {0x00FFFFFF, 0x2A20ABB8}, {0x00FFFFFF, 0x2DA00196},
    {0x00FFFF00, 0x1A200171}, {0x00FFFF00, 0x1A20017C}, {0x00FFFF00, 0x2D200199}, {0x00FFFF00, 0x2D20AB4A},
    {0x00FFFF00, 0x2D20AB99}, {0x00FFFF00, 0x2D22AB9F}, {0x00FFFF00, 0x2D22ABA5},
    {0x00FF0000, 0x2DA2AB5E}, {0x00FF0000, 0x2DA2ABA4},
};

void applyChannelMask(std::vector<std::uint8_t>& pixels, std::uint32_t mask) {
  if (mask == 0xFFFFFFFF) return;
  const bool opaque = (mask & 0xFF000000) == 0;
  for (std::size_t i = 0; i + 4 <= pixels.size(); i += 4) {
    std::uint32_t p = loadU32(&pixels[i]) & mask;
    if (opaque) p |= 0xFF000000;
    storeU32(&pixels[i], p);
  }
}

}  // namespace

bool canConvertXprFormat(std::uint32_t format) {
  const BlockInfo block = blockInfo(format & 0x3F);
  if (block.bytes == 0) return false;
  return (format & kFormatTiledBit) == 0 || (block.bytes & (block.bytes - 1)) == 0;
}

std::uint32_t xprChannelMask(std::uint32_t format) {
  format |= kFormatTiledBit;
  for (const auto& row : kChannelMasks)
    if (row.format == format) return row.mask;
  return 0xFFFFFFFF;
}

XprLevelImage convertXprTextureLevel(const XprBundle& bundle, const TextureHeader& header, std::uint32_t face,
                                     std::uint32_t level) {
  const std::uint32_t format = header.format();
  const TextureLayout layout = makeTextureLayout(header);
  // The tail base comes from the texture's size alone; a level at or above it in a
  // texture of several levels is read through the tail's description.
  const std::uint32_t tailBase = mipTailBaseLevel(header.width(), header.height(), header.border());
  const bool tailLevel = layout.levels > 1 && level >= tailBase;
  const LevelSlot slot = tailLevel ? mipTailSlot(layout) : levelSlot(layout, level);

  // The level's address, with the arithmetic of the game's converter kept as it is: for
  // a tail level the in-tail offset is taken off the mip address and the face and level
  // offset (which includes it) added back.
  std::int64_t address;
  const std::uint64_t faceLevel = faceLevelOffset(layout, face, level);
  if (tailLevel) {
    const std::uint32_t tailOffset = mipTailLevelOffset(header.width(), header.height(), 1, level, format & 0x3F,
                                                        header.tiled(), header.border());
    address = std::int64_t{header.mipAddress()} - tailOffset + static_cast<std::int64_t>(faceLevel);
  } else {
    address = std::int64_t{level == 0 ? header.baseAddress() : header.mipAddress()} + static_cast<std::int64_t>(faceLevel);
  }
  if (address < 0 || !rangeFits(static_cast<std::uint64_t>(address), slot.size, bundle.dataBlock.size()))
    fail(ErrorKind::Corrupt, "texture level " + std::to_string(level) + " of face " + std::to_string(face) + ": " +
                                 std::to_string(slot.size) + " bytes at " + std::to_string(address) +
                                 " leave the data block of " + std::to_string(bundle.dataBlock.size()) + " bytes");
  const Bytes levelBytes = Bytes(bundle.dataBlock).subspan(static_cast<std::size_t>(address), slot.size);

  XprLevelImage image;
  image.width = slot.width;
  image.height = slot.height;
  image.inMipTail = tailLevel;
  const std::uint32_t linearFormat = format & ~kFormatTiledBit;
  if (layout.tiled()) {
    // The untiling copy finds a packed level inside the tail by itself.
    const BlockPosition at = mipTailLevelPosition(layout, level);
    TiledRect rect;
    rect.pitchBlocks = slot.pitchBlocks;
    rect.log2Bytes = layout.block.log2Bytes;
    rect.x = at.x;
    rect.y = at.y;
    rect.widthBlocks = slot.widthBlocks;
    rect.heightBlocks = slot.heightBlocks;
    image.pixels = convertTiledToBgra(levelBytes, rect, image.width, image.height, linearFormat);
  } else {
    image.pixels = convertToBgra(levelBytes, slot.rowPitch, image.width, image.height, linearFormat);
  }
  applyChannelMask(image.pixels, xprChannelMask(format));
  return image;
}

}  // namespace vellmark
