// Xbox 360 packed resource bundles ("XPR2"): a 12-byte big-endian file header, a header
// block (resource count, 16-byte directory entries, names, texture headers, user data)
// and a data block with the texture data in the console's memory layout.
//
// Loading swaps the directory and every texture header to host order in place, as the
// console's loader does; texture base and mip addresses stay offsets into the data block.
// Everything a bundle points at is checked against its blocks when it is used: a bundle
// that points outside them raises vellmark::Error and is never read out of bounds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "xbox/xbox_texture.h"
#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint32_t kXprMagic = 0x58505232;  // "XPR2"
inline constexpr std::size_t kXprFileHeaderSize = 12;
inline constexpr std::size_t kXprDirectoryOffset = 4;  // in the header block
inline constexpr std::size_t kXprEntrySize = 16;
inline constexpr std::uint32_t kXprCountMask = 0x0FFFFFFF;  // bits of the count that size the directory
inline constexpr std::uint32_t kXprTypeUser = 0x55534552;       // "USER"
inline constexpr std::uint32_t kXprTypeTexture2D = 0x54583244;  // "TX2D"
inline constexpr std::uint32_t kXprTypeCube = 0x5458434D;       // "TXCM"
inline constexpr std::uint32_t kXprTextureTypePrefix = 0x5458;  // "TX": every texture type

struct XprResource {
  std::uint32_t type = 0;
  std::uint32_t offset = 0;  // of the texture header or the user bytes, in the header block
  std::uint32_t size = 0;
  std::uint32_t nameOffset = 0;  // of the NUL-terminated name, in the header block
};

struct XprBundle {
  std::vector<std::uint8_t> headerBlock;  // directory and texture headers in host order
  std::vector<std::uint8_t> dataBlock;    // as stored
  std::uint32_t resourceCount = 0;
  std::vector<XprResource> directory;
};

// What the bytes of a bundle file hold: a bundle, or the magic that was found instead.
struct XprParse {
  std::optional<XprBundle> bundle;
  std::uint32_t magic = 0;
};

// Reads a bundle from the bytes of a whole file. A wrong magic is not an error (the
// caller reports it); a file too short for its header, its blocks or its directory, and a
// texture header outside the header block, raise Error naming `what`.
XprParse parseXprBundle(Bytes file, const std::string& what);

// The resource's name; Error(Corrupt) when it does not end inside the header block.
std::string xprResourceName(const XprBundle& bundle, const XprResource& resource);
// The bytes of a user-data resource; Error(Corrupt) when they leave the header block.
Bytes xprUserData(const XprBundle& bundle, const XprResource& resource);
// The texture header of a texture resource (checked on loading).
xbox::TextureHeader xprTextureHeader(const XprBundle& bundle, const XprResource& resource);

}  // namespace vellmark
