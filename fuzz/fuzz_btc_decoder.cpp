// The BTC block-stream decoder on arbitrary streams. The first four bytes choose the image
// size (up to 511 x 511, so that both the direct and the scratch paths are reached); the
// rest is the stream, in an exactly sized heap block.
#include <cstdint>
#include <cstring>
#include <vector>

#include "btc/btc_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const auto width = static_cast<std::uint16_t>((data[0] | data[1] << 8) & 0x1FF);
  const auto height = static_cast<std::uint16_t>((data[2] | data[3] << 8) & 0x1FF);
  std::vector<std::uint8_t> stream(data + 4, data + size);
  stream.shrink_to_fit();
  std::vector<std::uint8_t> image(static_cast<std::size_t>(width) * height * 4, 0x5A);
  image.shrink_to_fit();
  if (!vellmark::decodeBtcStream(width, height, image, stream)) __builtin_trap();
  return 0;
}
