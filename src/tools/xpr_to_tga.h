// xpr2tga: the textures of an Xbox 360 packed resource bundle as 32-bit TGA files (the
// top level of every 2-D texture and of every cube face) and its user data as raw files.
#pragma once

#include <cstdint>
#include <string>

#include "base/host.h"

namespace vellmark {

inline constexpr std::uint8_t kXprTgaDescriptor = 0x28;  // 8 alpha bits, top row first
inline constexpr char kMipTailSuffix[] = "_miptail";
inline constexpr const char* kCubeFaceNames[6] = {"XP", "XN", "YP", "YN", "ZP", "ZN"};

// The whole tool: loads `xprPath`, writes NAME.bin for user data, BASE.tga (or
// BASE_miptail.tga) for 2-D textures and CUBE<face>.tga for cube textures. A bundle that
// cannot be loaded shows "XPR Object Creation Error" after its printed line. With `asPng`
// the same pictures are written as PNG files (.png) instead.
void xprToTga(Host& host, const std::string& xprPath, const std::string& textureBaseName, bool asPng = false);

}  // namespace vellmark
