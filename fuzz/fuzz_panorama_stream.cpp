// CreateUncompressedPanorama's input, a bare tiled panorama stream; the first byte also
// sends the rest through the sky panorama builder, the other stream a course archive can
// hold.
#include <cstdint>
#include <vector>

#include "formats/error.h"
#include "panorama/panorama.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  std::vector<std::uint8_t> stream(data + 1, data + size);
  stream.shrink_to_fit();
  vellmark::TileStore store;
  try {
    if (data[0] & 1)
      (void)vellmark::buildSkyPanorama(stream, store, "sky");
    else
      (void)vellmark::buildTiledPanorama(stream, store, "tiled");
  } catch (const vellmark::Error&) {
  }
  return 0;
}
