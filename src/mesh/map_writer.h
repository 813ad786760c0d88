// The game's .MAP texture file: for every material its Targa texture as 8-bit palette
// indices in four mip levels, each level with a 1024-byte RGBA palette and its indices
// LZW-compressed.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "mesh/lzw.h"
#include "xfile/mesh.h"

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

// A texture from width x height pixels of B, G, R, A, top row first, through the quantizer
// and the key-colour rule as the reader does with true-colour files.
MapTexture mapTextureFromPixels(int width, int height, Bytes bgra);

// Whether decodeMapTexture reads `file` as the TGA it is: uncompressed true colour of 24 or
// 32 bits, or 8-bit indices into a 256-entry colour map of 24 bits, without an image ID.
// The reader takes every other file as one of those too, and gets it wrong.
bool mapReaderTakesTga(Bytes file);

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

// Where the MAP encoder puts its bytes: written at the current position, which rewind()
// sets back to the start so that the header and tables can be written over once the
// levels are known (the game's writer works on its file in place that way).
class MapSink : public ByteSink {
 public:
  virtual std::uint32_t position() const = 0;
  virtual void rewind() = 0;
};

// The file in memory.
class MemoryMapSink : public MapSink {
 public:
  std::vector<std::uint8_t> bytes;
  std::size_t write(const std::uint8_t* data, std::size_t size) override;
  std::uint32_t position() const override { return static_cast<std::uint32_t>(at_); }
  void rewind() override { at_ = 0; }

 private:
  std::size_t at_ = 0;
};

// What becomes of one material's texture: its decoded image, nothing (the material keeps
// empty levels), or the end of the file (the writer stops where it is).
struct MapTextureLookup {
  std::optional<MapTexture> texture;
  bool stop = false;
};
using MapTextureSource = std::function<MapTextureLookup(const d3d::Material&)>;

enum class MapWriteEnd {
  Complete,    // header and tables written over with the final values
  Stopped,     // the source stopped: the zero header and tables stay
  ShortWrite,  // the sink took a compressed chunk short; nothing was written after it
};

// Writes the .MAP file of `materials` into `out`: the zeroed header and tables, then for
// each material its four levels (palette, LZW indices) from `textureOf`, asked material by
// material in order, and at last the header and tables again with their values.
MapWriteEnd writeMapFile(MapSink& out, std::span<const d3d::Material> materials, const MapTextureSource& textureOf);

}  // namespace vellmark
