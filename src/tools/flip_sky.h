// Re-orientation of a bottom-row-first sky image into the game's own TGA layout.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/host.h"
#include "base/byte_reader.h"

namespace vellmark {

inline constexpr int kSkyRows = 320;
inline constexpr int kSkyMaxWidth = 5000;  // the game's sky row area holds 20,000 bytes a row
inline constexpr char kSkiesFolder[] = "skies";
inline constexpr char kFlippedExtension[] = ".prvtga";

// The flipped image: the input's header with bytes 16-17 set to 20 20, then its first 320
// rows in reverse order. Raises Error for widths above 5,000 or negative, and for input
// too short for 320 rows.
std::vector<std::uint8_t> flipSkyImage(Bytes tga, const std::string& what);

// The whole tool on the file at `tgaPath`: boxes, folder, output file. Returns the path
// written (which the C export copies back to the caller), or nullopt when the image was
// already in the game's layout.
std::optional<std::string> flipTgaFile(Host& host, const std::string& tgaPath);

}  // namespace vellmark
