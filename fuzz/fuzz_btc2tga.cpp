// BTC2TGA's conversion of a whole "BTCV" file held in memory. Images above 16 million
// pixels are skipped: they are valid but only cost the fuzzer memory.
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "btc/btc_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size >= 8) {
    const std::uint64_t width = data[4] | data[5] << 8, height = data[6] | data[7] << 8;
    if (width * height > (std::uint64_t{1} << 24)) return 0;
  }
  std::vector<std::uint8_t> file(data, data + size);
  file.shrink_to_fit();
  try {
    if (vellmark::convertBtcToTga(file).size() < 18) __builtin_trap();
  } catch (const vellmark::Error&) {
  }
  return 0;
}
