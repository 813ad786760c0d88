// The ".sky" file: a course archive of 95 zlib members that hold the 4800 x 320 main sky cut
// into 94 TGA tiles and the 512 x 35 preview file as it is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/host.h"
#include "base/byte_reader.h"

namespace vellmark {

inline constexpr int kSkyWidth = 4800;
inline constexpr int kSkyHeight = 320;
inline constexpr int kSkyPreviewWidth = 512;
inline constexpr int kSkyPreviewHeight = 35;
inline constexpr std::size_t kSkyPixelBytes = std::size_t{kSkyWidth} * kSkyHeight * 4;

// Members 1-19 are 256 x 256 tiles of rows 0-255 (member 19 holds the last 192 columns and
// 64 zero columns); members 20-94 are 64 x 64 tiles of rows 256-319; member 95 is the preview.
inline constexpr int kSkyLargeTiles = 19;
inline constexpr int kSkyTiles = 94;
inline constexpr int kSkyMembers = 95;
inline constexpr int kSkyLargeTileSize = 256;
inline constexpr int kSkySmallTileSize = 64;
inline constexpr char kSkyPreviewMember[] = "sky.prv";
inline constexpr char kSkyExtension[] = ".sky";

// "_s_k_y_" + member number + ".tga" for members 1-94.
std::string skyTileName(int member);

// The TGA image (header and pixels) of tile `member` (1-94), cut from the main sky's
// 6,144,000 pixel bytes.
std::vector<std::uint8_t> skyTileImage(Bytes skyPixels, int member);

// The whole ".sky" file for a preview file (stored byte for byte as "sky.prv") and the
// main sky's pixel bytes (at least 6,144,000). Tiles are compressed on up to `threads`
// threads; the bytes are the same for any count.
std::vector<std::uint8_t> buildSkyFile(Bytes previewFile, Bytes skyPixels, unsigned threads);

// The whole tool: checks both sizes (a box for each, the preview's first), then writes
// outputFolder + name part of skyTgaPath without its last ".tga" + ".sky". A main sky too
// short for its pixels and a sky path without a separator raise Error; nothing is written
// then. Failure to write the output is passed over, as the game's tool does.
void createSkyFile(Host& host, const std::string& previewTgaPath, const std::string& skyTgaPath,
                   const std::string& outputFolder, unsigned threads);

}  // namespace vellmark
