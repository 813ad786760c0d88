// CreatePanorama's input: a whole course archive in memory, every member built into its
// files (which are dropped instead of written).
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "tools/panorama.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> archive(data, data + size);
  archive.shrink_to_fit();
  try {
    vellmark::buildPanoramaFiles(archive, [](const std::string&, vellmark::Bytes) {});
  } catch (const vellmark::Error&) {
  }
  return 0;
}
