// xpr2tga: the textures of an Xbox 360 packed resource bundle as 32-bit TGA files (the
// top level of every 2-D texture and of every cube face) and its user data as raw files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "xbox/xbox_texture.h"
#include "base/host.h"
#include "xbox/xpr_bundle.h"

namespace vellmark {

inline constexpr std::uint8_t kXprTgaDescriptor = 0x28;  // 8 alpha bits, top row first
inline constexpr char kMipTailSuffix[] = "_miptail";
inline constexpr const char* kCubeFaceNames[6] = {"XP", "XN", "YP", "YN", "ZP", "ZN"};

// The channels kept of a texture of `format`: one- and two-channel formats keep red (and
// green), formats without alpha lose it, the alpha-only format keeps alpha; 0xFFFFFFFF
// keeps everything. Looked up with the tiled bit set.
std::uint32_t xprChannelMask(std::uint32_t format);

// One converted face image of one level, with the name suffix the tool gives it.
struct XprLevelImage {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint8_t> pixels;  // B,G,R,A, rows from the top, channel mask applied
  bool inMipTail = false;
};

// Level `level` of face `face` of `header`, read from the bundle's data block the way the
// game's converter addresses it. Raises Error when the level's bytes leave the data block.
XprLevelImage convertXprTextureLevel(const XprBundle& bundle, const xbox::TextureHeader& header, std::uint32_t face,
                                     std::uint32_t level);

// The whole tool: loads `xprPath`, writes NAME.bin for user data, BASE.tga (or
// BASE_miptail.tga) for 2-D textures and CUBE<face>.tga for cube textures.
void xprToTga(Host& host, const std::string& xprPath, const std::string& textureBaseName);

}  // namespace vellmark
