// The panorama streams: tiled BTC block streams that the game decodes into one work area of
// 94 tiles and reads back as one image.
//
// Sky panorama stream: five 32-bit header words (the fourth is wideTileCount, which must be
// 19), then 5 x 19 - 1 = 94 tile records: a word the tools do not use, a byte length L and
// L bytes of BTC block stream. Records 0-18 are 256 x 256 tiles (the upper 256 rows, the
// last one cut to 192 columns), records 19-93 are 64 x 64 tiles (the lower 64 rows).
//
// Tiled panorama stream: a word the tools do not use, then width, height, tilesAcross and
// tilesDown (32-bit each), then tilesAcross x tilesDown records band by band, left to right:
// either 4 bytes starting with 't' (an all-zero tile) or a word, L and L bytes of stream
// for a 256 x 256 tile. Each band is 256 rows; the last tile of a band gives
// width - (tilesAcross - 1) x 256 columns, and rows from 768 on keep reading band 2's
// tiles, past their 256th row into the tile store that follows them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr int kPanoramaTileSide = 256;
inline constexpr int kSkyLowerTileSide = 64;
inline constexpr std::size_t kTileSlotBytes = std::size_t{kPanoramaTileSide} * kPanoramaTileSide * 4;
inline constexpr std::size_t kTileStoreSlots = 94;
inline constexpr std::size_t kTileStoreBytes = kTileStoreSlots * kTileSlotBytes;  // 24,641,536
inline constexpr std::uint32_t kSkyWideTileCount = 19;
inline constexpr std::size_t kSkyTileCount = 5 * kSkyWideTileCount - 1;
inline constexpr std::uint16_t kSkyPanoramaWidth = 4800;
inline constexpr std::uint16_t kSkyPanoramaHeight = 320;
inline constexpr std::uint64_t kMaxPanoramaPixels = 5'529'600;  // 7200 x 768
inline constexpr std::size_t kPanoramaHeaderSize = 20;
inline constexpr std::size_t kEmptyTileRecordSize = 4;
inline constexpr std::uint8_t kEmptyTileMark = 't';

// The tools' work area: 94 tiles of 256 x 256 pixels in one block. Tile i is decoded into
// slot i. A store starts zeroed; one tool call uses one store for all its entries, so a
// tile stream that does not cover its tile leaves the earlier entry's pixels in place, as
// in the game's tools.
class TileStore {
 public:
  TileStore();
  std::span<std::uint8_t> slot(std::size_t i) { return {bytes_.get() + i * kTileSlotBytes, kTileSlotBytes}; }
  Bytes bytes() const { return {bytes_.get(), kTileStoreBytes}; }

 private:
  struct Free {
    void operator()(std::uint8_t* p) const { std::free(p); }
  };
  // calloc: the system hands over zeroed pages without touching all 24 MB up front.
  std::unique_ptr<std::uint8_t, Free> bytes_;
};

// The 4800 x 320 sky panorama as a TGA file (6,144,018 bytes). Raises Error for a
// wideTileCount other than 19 or records that run past the end of `stream`.
std::vector<std::uint8_t> buildSkyPanorama(Bytes stream, TileStore& store, const std::string& what);

// The tiled panorama as a TGA file (18 + width x height x 4 bytes). Raises Error for more
// than 94 tiles, more than 5,529,600 pixels, records past the end of `stream`, or a layout
// that would read outside the tile store (no tiles across, a last tile of negative width,
// rows beyond the store).
std::vector<std::uint8_t> buildTiledPanorama(Bytes stream, TileStore& store, const std::string& what);

// How many bytes a tiled panorama stream at `stream` spans, from its header and the length
// fields of its records (which are read at the positions they describe, as the game's tool
// reads them). For callers that are handed a pointer and no length; a stream of more than
// 94 tiles is described by its header alone, which buildTiledPanorama then rejects.
std::size_t describedTiledPanoramaSize(const std::uint8_t* stream);

}  // namespace vellmark
