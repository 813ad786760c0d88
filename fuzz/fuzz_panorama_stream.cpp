// CreateUncompressedPanorama's input, a bare tiled panorama stream; the first byte also
// sends the rest through the sky panorama builder, the other stream a course archive can
// hold. Tiled images above a million pixels are skipped: they are valid, and building
// them only slows the fuzzer down.
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "btc/panorama_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  if (!(data[0] & 1) && size >= 13) {
    const std::uint64_t width = vellmark::loadU32(data + 5), height = vellmark::loadU32(data + 9);
    if (width * height > (std::uint64_t{1} << 20)) return 0;
  }
  std::vector<std::uint8_t> stream(data + 1, data + size);
  stream.shrink_to_fit();
  // One store for the whole run, as the game keeps its own: what a previous input left in
  // it changes pixel values only, and a fresh 24 MB store per input slows the fuzzer tenfold.
  static vellmark::TileStore store;
  try {
    if (data[0] & 1)
      (void)vellmark::buildSkyPanorama(stream, store, "sky");
    else
      (void)vellmark::buildTiledPanorama(stream, store, "tiled");
  } catch (const vellmark::Error&) {
  }
  return 0;
}
