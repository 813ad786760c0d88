// The game's .MAP texture files read back: the header's tables, and any level's pixels
// through its palette and LZW stream.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_reader.h"
#include "base/tga.h"

namespace vellmark {

struct MapLevelRecord {
  std::uint32_t width = 0, height = 0, bitsPerPixel = 0;
  std::uint32_t paletteAt = 0, dataAt = 0, dataSize = 0;
};

struct MapDirectory {
  std::uint32_t declaredSize = 0;       // the header's file size
  std::vector<MapLevelRecord> levels;
  // Per material the numbers of its levels, largest first; empty for a material the writer
  // found no texture for.
  std::vector<std::vector<std::uint32_t>> materials;
};

// Reads the header and the level, material and size tables. Raises Error(Corrupt) when a
// table, a palette or a level's data runs past the file, or a material names a level that
// does not exist.
MapDirectory readMapDirectory(Bytes file);

// One level as the file keeps it: palette indices, top row first, and the 256 palette entries
// (red, green, blue, alpha) with the game's see-through magenta (255, 0, 255) at alpha 0.
struct MapPicture {
  std::uint32_t width = 0, height = 0;
  std::array<std::uint8_t, 1024> palette{};
  std::vector<std::uint8_t> indices;
};
MapPicture readMapLevel(Bytes file, const MapDirectory& directory, std::uint32_t level);

// Level `level`'s pixels (B, G, R, A, top row first): palette entries by index, the game's
// see-through magenta (255, 0, 255) with alpha 0. Raises Error(Corrupt) for a level of other
// than 8 bits, or an LZW stream that is broken or does not give exactly width x height indices.
Image decodeMapLevel(Bytes file, const MapDirectory& directory, std::uint32_t level);

}  // namespace vellmark
