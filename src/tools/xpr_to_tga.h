// xpr2tga: the textures of an Xbox 360 packed resource bundle as 32-bit TGA files (the
// top level of every 2-D texture and of every cube face) and its user data as raw files.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "base/byte_reader.h"
#include "base/host.h"
#include "xbox/xpr_bundle.h"

namespace vellmark {

inline constexpr std::uint8_t kXprTgaDescriptor = 0x28;  // 8 alpha bits, top row first
inline constexpr char kMipTailSuffix[] = "_miptail";
inline constexpr const char* kCubeFaceNames[6] = {"XP", "XN", "YP", "YN", "ZP", "ZN"};

// One file of the tool's making: its name and its bytes, in pieces (TGA header, pixels).
using XprFileSink = std::function<void(const std::string& name, std::initializer_list<Bytes> pieces)>;

// Everything the tool makes of a loaded bundle, in directory order: NAME.bin for user data,
// BASE.tga (or BASE_miptail.tga) for 2-D textures, CUBE<face>.tga (or with "_miptail") for
// cube textures. The names taken from the bundle must pass fileNameProblem; a resource whose
// name does not is skipped with a line on printError naming it (escaped), and counted in the
// result. BASE comes from the caller and is used as given. Raises Error as the converter
// does (files of earlier resources stay emitted).
// With `asPng` the pictures are PNG files (.png) instead.
std::size_t buildXprFiles(Host& host, const XprBundle& bundle, const std::string& textureBaseName,
                          const XprFileSink& sink, bool asPng = false);

// What a run left undone, for callers that must fail for it: the game's tool itself passes
// over both in silence.
struct XprRunResult {
  std::size_t refused = 0;               // resources skipped for their names
  std::vector<std::string> unwritten;    // files that could not be written, in order
  // Names written more than once, with the count: every 2-D texture takes the base name, so
  // a bundle of several keeps only its last.
  std::vector<std::pair<std::string, std::size_t>> overwritten;
};

// The whole tool: loads `xprPath` and writes the files of buildXprFiles by their names (in
// the current folder unless BASE has one). A bundle that cannot be loaded shows "XPR Object
// Creation Error" after its printed line.
XprRunResult xprToTga(Host& host, const std::string& xprPath, const std::string& textureBaseName, bool asPng = false);

}  // namespace vellmark
