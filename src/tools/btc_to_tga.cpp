#include "tools/btc_to_tga.h"

#include "base/file_io.h"
#include "btc/btc_file.h"
#include "tools/messages.h"

namespace vellmark {

void btcToTga(Host& host, Bytes fileData, const std::string& tgaPath) {
  auto image = convertBtcToTga(fileData);
  if (!image) {
    host.messageBox(messages::kInvalidBtcCaption, messages::kInvalidBtcText);
    return;
  }
  (void)writeWholeFile(tgaPath, *image);
}

}  // namespace vellmark
