// The MAP writer's texture reader on arbitrary files: header fields, the paletted and the
// quantized paths, the row flip, the key colour, then every halving and the LZW coder on
// each level, as the writer runs them.
#include <cstdint>
#include <cstring>
#include <vector>

#include "mesh/lzw.h"
#include "mesh/map_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> file(data, data + size);
  file.shrink_to_fit();  // an exactly sized block, so AddressSanitizer sees any overread
  auto texture = vellmark::decodeMapTexture(file);
  if (!texture) return 0;
  for (int level = 0; level < 4; ++level) {
    if (texture->pixels.size() != static_cast<std::size_t>(texture->width) * texture->height) __builtin_trap();
    (void)vellmark::lzwCompress(texture->pixels);
    vellmark::halveMapTexture(*texture);
  }
  return 0;
}
