// Tokenizer of the text encoding. White space is blanks, tabs, line ends and NUL bytes;
// comments run from "#" or "//" to the end of the line; strings keep their bytes between
// the quotes with no escapes; keywords are matched without regard to case.
//
// The common tokens (punctuation and plain decimal numbers) are read inline; everything
// else goes through the general word reader.
#pragma once

#include <array>
#include <cfloat>
#include <cstdint>
#include <span>

#include "xfile/x_token.h"

namespace vellmark::d3d {

namespace text_lexer_detail {

enum CharClass : std::uint8_t { kOther = 0, kSpace = 1, kWord = 2, kPunct = 3, kDigit = 4 };

constexpr std::array<std::uint8_t, 256> makeClasses() {
  std::array<std::uint8_t, 256> t{};
  for (char c : {' ', '\t', '\r', '\n', '\0', '\v', '\f'}) t[static_cast<std::uint8_t>(c)] = kSpace;
  for (int c = 'a'; c <= 'z'; ++c) t[c] = kWord;
  for (int c = 'A'; c <= 'Z'; ++c) t[c] = kWord;
  for (char c : {'_', '-', '+', '.', '#'}) t[static_cast<std::uint8_t>(c)] = kWord;
  for (int c = '0'; c <= '9'; ++c) t[c] = kDigit;
  for (char c : {'{', '}', '[', ']', '(', ')', ',', ';'}) t[static_cast<std::uint8_t>(c)] = kPunct;
  return t;
}
inline constexpr auto kClasses = makeClasses();

constexpr bool continuesWord(std::uint8_t c) { return kClasses[c] == kWord || kClasses[c] == kDigit; }

}  // namespace text_lexer_detail

class TextLexer {
 public:
  explicit TextLexer(std::span<const std::uint8_t> body) : data_(body) {}

  // The next token into `t`, End at the end of the body. Raises Error with result code kParseError on a
  // character that starts no token, an unterminated string or a malformed GUID or number.
  [[gnu::always_inline]] void next(Token& t) {
    using namespace text_lexer_detail;
    const std::uint8_t* p = data_.data();
    const std::size_t size = data_.size();
    do {
      while (pos_ < size && kClasses[p[pos_]] == kSpace) ++pos_;
      t.offset = pos_;
      if (pos_ >= size) {
        t.kind = TokenKind::End;
        return;
      }
      switch (p[pos_]) {
        case ';': ++pos_; t.kind = TokenKind::Semicolon; return;
        case ',': ++pos_; t.kind = TokenKind::Comma; return;
        case '{': ++pos_; t.kind = TokenKind::OpenBrace; return;
        case '}': ++pos_; t.kind = TokenKind::CloseBrace; return;
        default: break;
      }
      if ((kClasses[p[pos_]] == kDigit || p[pos_] == '-') && plainNumber(t)) return;
    } while (!other(t));
  }

  std::size_t position() const { return pos_; }

 private:
  // A number of digits with an optional leading "-" and at most one point, ended by a
  // character that cannot continue a word. Returns false (and consumes nothing) otherwise.
  [[gnu::always_inline]] bool plainNumber(Token& t) {
    using namespace text_lexer_detail;
    const std::uint8_t* p = data_.data();
    const std::size_t size = data_.size();
    std::size_t i = pos_;
    const bool negative = p[i] == '-';
    if (negative) ++i;
    // Digits accumulate without a check: past 19 of them the mantissa may wrap, but then the
    // value is not taken from it.
    std::uint64_t mantissa = 0;
    const std::size_t intStart = i;
    while (i < size && static_cast<unsigned>(p[i] - '0') <= 9) mantissa = mantissa * 10 + (p[i++] - '0');
    std::size_t digits = i - intStart, fraction = 0;
    const bool point = i < size && p[i] == '.';
    if (point) {
      const std::size_t fractionStart = ++i;
      while (i < size && static_cast<unsigned>(p[i] - '0') <= 9) mantissa = mantissa * 10 + (p[i++] - '0');
      fraction = i - fractionStart;
      digits += fraction;
    }
    if (digits == 0 || (i < size && continuesWord(p[i]))) return false;
    if (!negative && !point) {
      if (digits > 9) return false;  // the general reader checks the 32-bit range
      t.kind = TokenKind::Integer;
      t.integer = static_cast<std::uint32_t>(mantissa);
    } else {
      t.kind = TokenKind::Float;
      t.text = std::string_view(reinterpret_cast<const char*>(p) + pos_, i - pos_);
#if FLT_EVAL_METHOD == 0
      t.exact = digits <= 19 && mantissa <= (std::uint64_t{1} << 53) && fraction <= 22;
#else
      t.exact = false;  // wider intermediate precision would round twice
#endif
      t.negative = negative;
      t.fractionDigits = static_cast<std::uint8_t>(fraction);
      t.mantissa = mantissa;
    }
    // The separator right after the number, the usual case, is taken here too.
    t.separated = Token::Separated::None;
    if (i < size && p[i] == ',') {
      ++i;
      t.separated = Token::Separated::Whole;
    } else if (i < size && p[i] == ';') {
      do ++i;
      while (i < size && p[i] == ';');
      t.separated = Token::Separated::Semicolons;
      if (i < size && p[i] == ',') ++i, t.separated = Token::Separated::Whole;
    }
    pos_ = i;
    return true;
  }

  // Every other token; false when it only passed over a comment.
  [[gnu::noinline]] bool other(Token& t);
  void word(Token& t, std::size_t start);

  std::span<const std::uint8_t> data_;
  std::size_t pos_ = 0;
};

}  // namespace vellmark::d3d
