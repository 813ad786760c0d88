// Builds Xbox 360 packed resource bundles for the benchmarks: 2-D and cube textures in any
// format, tiled or linear, with mip chains and packed tails, plus user data and resources
// of other types. Texel data is given as rows of blocks in little-endian order (what the
// console sees after its endian swap); the writer swaps and tiles it into the console's
// memory image.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vellmark::test {

struct XprTexture {
  std::uint32_t width = 1, height = 1, levels = 1;
  std::uint32_t format = 0;  // the tiled bit decides tiled or linear storage
  bool cube = false;  // mip levels from the tail base on are always packed into one tail
  // texels[face][level]: rows of blocks, tightly packed, little-endian order. Missing
  // levels are left zero.
  std::vector<std::vector<std::vector<std::uint8_t>>> texels;
  // Overrides for malformed-input tests.
  std::int64_t baseAddressOverride = -1, mipAddressOverride = -1, pitchFieldOverride = -1;
};

class XprWriter {
 public:
  void addUser(const std::string& name, std::vector<std::uint8_t> bytes);
  void addTexture(const std::string& name, XprTexture texture);  // TX2D, or TXCM when cube
  void addOther(std::uint32_t type, const std::string& name, std::vector<std::uint8_t> bytes);
  std::vector<std::uint8_t> build() const;

  // Where the last build put each resource's header in the header block (for tests that
  // corrupt it).
  mutable std::vector<std::uint32_t> resourceOffsets;

 private:
  struct Resource {
    std::uint32_t type;
    std::string name;
    std::vector<std::uint8_t> bytes;  // user data / other
    XprTexture texture;
  };
  std::vector<Resource> resources_;
};

// Swaps `data` in place in the console's units: 1 = bytes of 16-bit units, 2 = bytes of
// 32-bit units, 3 = 16-bit halves of 32-bit units.
void consoleSwap(std::vector<std::uint8_t>& data, unsigned endian);

// A format code from its fields: GPU format, endian, signs (X,Y,Z,W; 0..3), integer number
// format, swizzle (R,G,B,A sources; 0-3 = X..W, 4 = 0, 5 = 1), tiled.
std::uint32_t makeFormat(unsigned gpu, unsigned endian, std::array<unsigned, 4> signs, bool integer,
                         std::array<unsigned, 4> swizzle, bool tiled);

}  // namespace vellmark::test
