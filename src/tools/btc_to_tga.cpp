#include "tools/btc_to_tga.h"

#include "base/file_io.h"
#include "btc/btc_file.h"
#include "tools/messages.h"

namespace vellmark {

void btcToTga(Host& host, Bytes fileData, const std::string& tgaPath) {
  std::vector<std::uint8_t> image;
  try {
    image = convertBtcToTga(fileData);
  } catch (const Error& e) {
    // An image too large to convert is the caller's error; a file the game's converter
    // cannot read gets its box.
    if (e.kind() == ErrorKind::Unsupported) throw;
    host.messageBox(messages::kInvalidBtcCaption, messages::kInvalidBtcText);
    return;
  }
  (void)writeWholeFile(tgaPath, image);
}

}  // namespace vellmark
