// convert: pictures between the game's formats (BTC textures, its TGA, Xbox bundles) and the
// ones people keep (PNG, JPEG, BMP, any TGA). Also the PNG variants of the tools that write
// pictures for people to look at.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "base/host.h"
#include "base/tga.h"

namespace vellmark {

enum class PictureFormat { Png, Tga, Btc };

// "png", "tga" or "btc" (any case); nullopt for anything else.
std::optional<PictureFormat> pictureFormatNamed(const std::string& name);
// By the extension of `path`; Error(Argument) naming the path when it is none of the three.
PictureFormat pictureFormatOfPath(const std::string& path);
const char* pictureExtension(PictureFormat format);  // ".png", ".tga", ".btc"

// True for the bytes of an Xbox 360 bundle ("XPR2"), which holds several pictures, and for a
// file that begins with them (false when it cannot be read).
bool isXprBundle(Bytes file);
bool isXprBundleFile(const std::string& path);

// The picture in `file`, by content: a "BTCV" texture as BTC2TGA converts it, otherwise any
// file decodeImage reads. Errors as convertBtcToTga and decodeImage, naming `what`.
Image readPicture(Bytes file, const std::string& what);

// `image` as a PNG, the tools' 32-bit TGA, or a BTC texture from the block encoder.
std::vector<std::uint8_t> encodePicture(const Image& image, PictureFormat format);

// The tool: the picture at `inPath` as `outPath`, in the format its extension names.
// Raises Error for an input that cannot be read or converted, Error(Io) when the output
// cannot be written.
void convertPicture(Host& host, const std::string& inPath, const std::string& outPath);

// Every texture of the bundle at `xprPath` as outputPrefix + NAME + extension, NAME being
// the resource's own name (cube faces NAME<face>, a texture whose top level lies in the mip
// tail NAME_miptail), the same pixels xpr2tga writes. A name that cannot be a file name is
// refused, and a texture of a format xpr2tga skips is skipped; both are printed as errors.
// Returns the number of files written. Raises Error for a bundle that cannot be read,
// Error(Io) when a file cannot be written or, without `overwrite`, exists.
std::size_t convertXprBundle(Host& host, const std::string& xprPath, const std::string& outputPrefix,
                             PictureFormat format, bool overwrite = true);

}  // namespace vellmark
