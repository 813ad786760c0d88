// BTC2TGA: a stand-alone tiled BTC texture ("BTCV" file) to an uncompressed 32-bit TGA.
#pragma once

#include <string>

#include "base/byte_reader.h"
#include "base/host.h"

namespace vellmark {

// The tool: converts `fileData` and writes the TGA to `tgaPath` (an unwritable path is
// passed over silently); a file convertBtcToTga rejects as truncated or corrupt gets the
// "Invalid BTC File" box and no file, an image too large to convert raises its Error.
void btcToTga(Host& host, Bytes fileData, const std::string& tgaPath);

}  // namespace vellmark
