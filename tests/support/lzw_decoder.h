// An LZW decoder for the MAP file's streams, written from the stream's rules (codes of 9 to
// 13 bits, least significant bit first, clear 256, end 257) independently of the coder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vellmark::test {

class BitReader {
 public:
  explicit BitReader(const std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}
  // Returns -1 past the end.
  int read(int bits);
  std::size_t position() const { return position_; }

 private:
  const std::vector<std::uint8_t>& bytes_;
  std::size_t position_ = 0;
};

struct Decoded {
  std::vector<std::uint8_t> bytes;
  std::vector<std::pair<int, int>> codes;  // (code, width) in stream order
  std::size_t bitsUsed = 0;
};

// Decodes one stream up to its end code; throws std::runtime_error on a malformed stream.
Decoded lzwDecode(const std::vector<std::uint8_t>& stream);

}  // namespace vellmark::test
