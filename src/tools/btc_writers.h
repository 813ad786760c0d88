// tga2btc: an ordinary TGA image as the game's tiled BTC texture file. The writers of the
// game's BTC containers live in btc/; their headers come with this one for the tools and
// programs that make test courses.
#pragma once

#include <string>

#include "base/host.h"
#include "base/tga.h"
#include "btc/btc_file_writer.h"
#include "btc/panorama_stream_writer.h"

namespace vellmark {

// The tool: the TGA at `tgaPath` as a "BTCV" file at `btcPath`. Raises Error(Io) when the
// output cannot be written.
void tgaToBtc(Host& host, const std::string& tgaPath, const std::string& btcPath);

}  // namespace vellmark
