// The game's .MAP texture file: for every material its Targa texture as 8-bit palette
// indices in four mip levels, each level with a 1024-byte RGBA palette and its indices
// LZW-compressed.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "xfile/mesh.h"
#include "base/host.h"
#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint32_t kMapHeaderSize = 28;
inline constexpr std::uint32_t kMapLevelsPerMaterial = 4;
inline constexpr std::uint32_t kMapLevelRecordWords = 9;
inline constexpr std::uint32_t kMapMaterialRecordWords = 6;
inline constexpr std::uint32_t kMapReservedRecordSize = 8;
inline constexpr std::uint32_t kMapPaletteSize = 1024;
inline constexpr std::uint32_t kMapBitsPerPixel = 8;
// The writer holds level sizes as signed 16-bit values; larger textures are refused.
inline constexpr std::uint16_t kMapMaxTextureSide = 32767;

// One level's pixels and the palette every level of the material shares.
struct MapTexture {
  int width = 0;
  int height = 0;
  std::array<std::uint8_t, kMapPaletteSize> palette{};  // 256 entries of red, green, blue, alpha
  std::vector<std::uint8_t> pixels;                     // width x height indices, top row first
};

// Reads a texture the way the MAP writer does: only width, height, depth and descriptor of
// the 18-byte Targa header count, and uncompressed pixels follow it directly. Depth 8 keeps
// its file palette; other depths (24 widened to 32) go through the quantizer and the
// key-colour rule. Rows are flipped unless descriptor bit 5 is set. Returns nullopt (the
// writer's "Cannot read Texture") when the file is shorter than its header says, when the
// depth is 0 or above 32, or when a side exceeds 32767.
std::optional<MapTexture> decodeMapTexture(Bytes file);

// Halves the level in place (integer halving of each side): each pixel becomes the palette
// entry, searched over all 256, nearest to the rounded mean of its four source colours.
void halveMapTexture(MapTexture& texture);

// The parts of a texture path as the runtime's path splitting gives them; joined they give
// the path back.
struct SplitPath {
  std::string drive, directory, name, extension;
  std::string joined() const { return drive + directory + name + extension; }
};
SplitPath splitPath(const std::string& path);

// Writes the .MAP file for `materials` at `path`, with the boxes and stops of the game's
// writer: a material without a texture stops it ("Missing texture in object"), an extension
// other than ".tga" stops it after two boxes, a texture that cannot be read is skipped
// ("Cannot read Texture"). A texture that does not exist is asked for with the open-file
// dialog; hosts without one keep the path. An output file that cannot be created is passed
// over silently.
void writeMapFile(Host& host, std::span<const d3d::Material> materials, const std::string& path);

}  // namespace vellmark
