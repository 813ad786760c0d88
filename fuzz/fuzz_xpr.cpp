// Fuzz target: the bundle reader and the texture converter together. Every texture of a
// bundle is laid out, untiled and converted face by face; only vellmark::Error may come
// back.
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "xbox/xpr_bundle.h"
#include "xbox/xpr_level.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> copy(data, data + size);
  copy.shrink_to_fit();
  try {
    auto parsed = vellmark::parseXprBundle(copy, "fuzz input");
    if (!parsed.bundle) return 0;
    const auto& bundle = *parsed.bundle;
    for (const auto& r : bundle.directory) {
      try {
        if (r.type == vellmark::kXprTypeUser) {
          (void)vellmark::xprResourceName(bundle, r);
          (void)vellmark::xprUserData(bundle, r);
        } else if ((r.type >> 16) == vellmark::kXprTextureTypePrefix) {
          const auto header = vellmark::xprTextureHeader(bundle, r);
          const std::uint32_t faces = header.cube() ? 6 : 1;
          for (std::uint32_t face = 0; face < faces; ++face) {
            auto image = vellmark::convertXprTextureLevel(bundle, header, face, 0);
            if (image.pixels.size() != std::size_t{image.width} * image.height * 4) __builtin_trap();
          }
        }
      } catch (const vellmark::Error&) {
      }
    }
  } catch (const vellmark::Error&) {
  }
  return 0;
}
