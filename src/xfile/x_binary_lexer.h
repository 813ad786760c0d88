// Tokenizer of the binary encoding: 16-bit little-endian token numbers, names and strings
// with a 32-bit length, 32-bit integers, 16-byte GUIDs, and integer and float lists with a
// 32-bit count (floats of 4 or 8 bytes as the header says).
#pragma once

#include <cstdint>
#include <span>

#include "xfile/x_token.h"

namespace vellmark::d3d {

class BinaryLexer {
 public:
  BinaryLexer(std::span<const std::uint8_t> body, std::uint32_t floatBytes) : data_(body), floatBytes_(floatBytes) {}
  // The next token, End at the end of the body. Raises Error with result code kParseError on an unknown
  // token number or a length or count that runs past the end of the body.
  void next(Token& t);
  std::size_t position() const { return pos_; }
  std::uint32_t floatBytes() const { return floatBytes_; }

 private:
  std::span<const std::uint8_t> data_;
  std::uint32_t floatBytes_;
  std::size_t pos_ = 0;
};

}  // namespace vellmark::d3d
