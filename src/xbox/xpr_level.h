// One level of one face of a texture in a bundle, as the game's converter reads it: its
// address in the data block, its untiling and conversion to B,G,R,A, and the channels it
// keeps.
#pragma once

#include <cstdint>
#include <vector>

#include "xbox/xbox_texture.h"
#include "xbox/xpr_bundle.h"

namespace vellmark {

// True when textures of `format` are converted: formats that hold texture data, stored
// linearly or in blocks of a power-of-two size.
bool canConvertXprFormat(std::uint32_t format);

// The channels kept of a texture of `format`: one- and two-channel formats keep red (and
// green), formats without alpha lose it, the alpha-only format keeps alpha; 0xFFFFFFFF
// keeps everything. Looked up with the tiled bit set.
std::uint32_t xprChannelMask(std::uint32_t format);

// One converted face image of one level, and whether it was read from the packed tail.
struct XprLevelImage {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint8_t> pixels;  // B,G,R,A, rows from the top, channel mask applied
  bool inMipTail = false;
};

// Level `level` of face `face` of `header`, read from the bundle's data block the way the
// game's converter addresses it. Raises Error when the level's bytes leave the data block.
XprLevelImage convertXprTextureLevel(const XprBundle& bundle, const xbox::TextureHeader& header, std::uint32_t face,
                                     std::uint32_t level);

}  // namespace vellmark
