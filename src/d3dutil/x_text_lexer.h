// Tokenizer of the text encoding. White space is blanks, tabs, line ends and NUL bytes;
// comments run from "#" or "//" to the end of the line; strings keep their bytes between
// the quotes with no escapes; keywords are matched without regard to case.
#pragma once

#include <cstdint>
#include <span>

#include "d3dutil/x_token.h"

namespace vellmark::d3d {

class TextLexer {
 public:
  explicit TextLexer(std::span<const std::uint8_t> body) : data_(body) {}
  // The next token, End at the end of the body. Throws XFileError(kParseError) on a
  // character that starts no token, an unterminated string or a malformed GUID or number.
  Token next();
  std::size_t position() const { return pos_; }

 private:
  Token word(std::size_t start);
  std::span<const std::uint8_t> data_;
  std::size_t pos_ = 0;
};

}  // namespace vellmark::d3d
