// The tiled BTC texture file ("BTCV"), decoded into an uncompressed 32-bit TGA.
//
// File layout (little-endian): "BTCV", width (u16), height (u16), a word the tool does not
// use, a reserved word, entryCount (i32) at offset 16, then entryCount 16-byte tile
// entries: tileId (i16), size (i16, the tile is size x size), x (i16), y (i16),
// dataOffset (u32, from the start of the file) and dataLength (u32) of the tile's block
// stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint32_t kBtcFileMagic = 0x56435442;  // "BTCV"
inline constexpr std::size_t kBtcFileHeaderSize = 20;
inline constexpr std::size_t kBtcTileEntrySize = 16;
inline constexpr int kBtcMaxTileSize = 256;
// The largest image converted (16,384 x 16,384 pixels); a 20-byte header can claim 16 GiB.
inline constexpr std::uint64_t kMaxBtcImageBytes = std::uint64_t{1} << 30;

struct BtcTileEntry {
  std::int16_t tileId = 0;
  std::int16_t size = 0;
  std::int16_t x = 0;
  std::int16_t y = 0;
  std::uint32_t dataOffset = 0;
  std::uint32_t dataLength = 0;
};

// The TGA image (18-byte header, then width x height pixels, top row first) that the game's
// converter makes of `file`. A file it cannot process raises Error(Truncated) when it is
// shorter than its header or an entry table or a decoded tile stream lies outside it, and
// Error(Corrupt) for entryCount 0 or a tile size that is negative or above 256. A negative
// entryCount gives an all-zero image; a magic other than "BTCV" places tiles without
// decoding any (all zero). Tile entries that share a tileId decode the first such entry's
// stream at its size; every entry is placed at its own x and y, tile row j on image row
// height - y - size + j counted from the top, and only the part inside the image is copied.
// Raises Error(Unsupported) for an image of more than kMaxBtcImageBytes.
std::vector<std::uint8_t> convertBtcToTga(Bytes file);

}  // namespace vellmark
