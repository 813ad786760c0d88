// The tokens that both .x encodings are read as. The text and the binary tokenizers give
// the same kinds, so one parser builds the object tree from either; the binary encoding's
// integer and float lists arrive as one token each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vellmark::d3d {

enum class TokenKind : std::uint8_t {
  End,
  Name,
  String,
  Integer,
  Float,      // text only: a decimal number with a sign, a point, an exponent or a NaN mark
  Guid,
  IntegerList,  // binary only
  FloatList,    // binary only
  OpenBrace,
  CloseBrace,
  OpenParen,
  CloseParen,
  OpenBracket,
  CloseBracket,
  OpenAngle,
  CloseAngle,
  Dot,
  Comma,
  Semicolon,
  Template,
  Word,
  Dword,
  FloatType,
  Double,
  Char,
  Uchar,
  Sword,
  Sdword,
  Void,
  StringType,
  Unicode,
  Cstring,
  Array,
};

constexpr bool isPrimitiveType(TokenKind kind) { return kind >= TokenKind::Word && kind <= TokenKind::Cstring; }

struct Token {
  TokenKind kind = TokenKind::End;
  std::string_view text;            // Name, String and Float: the characters; Guid: the 38 or 16 bytes
  std::uint32_t integer = 0;        // Integer: the value; lists: the element count
  const std::uint8_t* list = nullptr;  // lists: the first element's bytes
  std::size_t offset = 0;           // where the token starts in the body, for messages
  // Float tokens the text tokenizer could read exactly on the way: the value is
  // (negative ? -1 : 1) x mantissa / 10^fractionDigits, with mantissa below 2^53 and at most
  // 22 fraction digits, so that one division gives the correctly rounded double.
  bool exact = false;
  // Integer, Float and String: how much of the separator group after the value the tokenizer
  // has taken already: none, a run of ";" (a "," may still follow), or the whole group.
  enum class Separated : std::uint8_t { None, Semicolons, Whole } separated = Separated::None;
  bool negative = false;
  std::uint8_t fractionDigits = 0;
  std::uint64_t mantissa = 0;
};

const char* tokenKindName(TokenKind kind);

}  // namespace vellmark::d3d
