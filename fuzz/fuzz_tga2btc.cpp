// TGA2BTC's reading of a TGA file and its encoding as a "BTCV" file, whose decoding must
// then succeed at the same size. Images above a million pixels are skipped: they are valid
// but only cost the fuzzer time.
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "base/tga.h"
#include "btc/btc_file.h"
#include "btc/btc_file_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size >= 16) {
    const std::uint64_t width = data[12] | data[13] << 8, height = data[14] | data[15] << 8;
    if (width * height > (std::uint64_t{1} << 20)) return 0;
  }
  std::vector<std::uint8_t> file(data, data + size);
  file.shrink_to_fit();
  vellmark::Image image;
  try {
    image = vellmark::readTgaImage(file, "fuzz input");
  } catch (const vellmark::Error&) {
    return 0;
  }
  std::vector<std::uint8_t> btc;
  try {
    btc = vellmark::makeBtcFile(image);
  } catch (const vellmark::Error& e) {
    if (e.kind() != vellmark::ErrorKind::Unsupported) __builtin_trap();  // only sizes are refused
    return 0;
  }
  const auto tga = vellmark::convertBtcToTga(btc);
  if (tga.size() != 18 + std::size_t{image.width} * image.height * 4) __builtin_trap();
  return 0;
}
