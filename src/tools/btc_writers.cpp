#include "tools/btc_writers.h"

#include "base/file_io.h"

namespace vellmark {

void tgaToBtc(Host& /*host*/, const std::string& tgaPath, const std::string& btcPath) {
  const auto file = makeBtcFile(readTgaImage(readWholeFile(tgaPath), tgaPath));
  if (!writeWholeFile(btcPath, file)) fail(ErrorKind::Io, "cannot write '" + btcPath + "'");
}

}  // namespace vellmark
