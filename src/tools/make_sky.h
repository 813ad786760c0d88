// `sky`: the game's .sky file from any picture, and its preview made from it unless given.
#pragma once

#include <optional>
#include <string>

#include "image/sky_picture.h"

namespace vellmark {

struct SkyRequest {
  std::string picture;                 // any picture the image layer reads
  std::optional<std::string> preview;  // a 512 x 35 TGA is stored as it is; any other picture is scaled
  std::string outputPrefix;            // the folder, with its separator
  std::string name;                    // NAME of NAME.sky
  SkyFraming framing;
  unsigned threads = 1;
};

// Writes outputPrefix + name + ".sky" and returns that path. The sky's rows are stored
// bottom row first, as in the bottom-up 32-bit TGA the sky-file tool takes, so that the
// exact 4800 x 320 TGA and its 512 x 35 preview give the sky-file tool's file. Generated
// previews are bottom-up 32-bit TGAs too. Errors: those of reading, decoding and framing;
// Error(Io) when the file cannot be written.
std::string makeSky(const SkyRequest& request);

}  // namespace vellmark
