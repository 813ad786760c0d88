#include "xfile/x_text_lexer.h"

#include <array>
#include <string>

#include "xfile/x_error.h"
#include "xfile/x_names.h"

namespace vellmark::d3d {

namespace {

using namespace text_lexer_detail;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isNameChar(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-' || c == '.';
}

struct Keyword {
  std::string_view text;
  TokenKind kind;
};
constexpr Keyword kKeywords[] = {
    {"template", TokenKind::Template}, {"array", TokenKind::Array},   {"word", TokenKind::Word},
    {"dword", TokenKind::Dword},       {"float", TokenKind::FloatType}, {"double", TokenKind::Double},
    {"char", TokenKind::Char},         {"uchar", TokenKind::Uchar},   {"sword", TokenKind::Sword},
    {"sdword", TokenKind::Sdword},     {"void", TokenKind::Void},     {"string", TokenKind::StringType},
    {"unicode", TokenKind::Unicode},   {"cstring", TokenKind::Cstring},
};

std::size_t digitsAt(std::string_view w, std::size_t i) {
  std::size_t n = 0;
  while (i + n < w.size() && isDigit(w[i + n])) ++n;
  return n;
}

// A decimal number: optional sign, digits with at most one point (digits on at least one
// side), an optional exponent; or the NaN and infinity spellings "1.#QNAN", "-1.#IND",
// "1.#INF" that some exporters print.
bool isNumber(std::string_view w) {
  std::size_t i = 0;
  if (i < w.size() && (w[i] == '-' || w[i] == '+')) ++i;
  const std::size_t intDigits = digitsAt(w, i);
  i += intDigits;
  std::size_t fracDigits = 0;
  if (i < w.size() && w[i] == '.') {
    ++i;
    if (i < w.size() && w[i] == '#') {
      if (intDigits == 0) return false;
      std::size_t j = i + 1, letters = 0;
      while (j < w.size() && ((w[j] >= 'A' && w[j] <= 'Z') || (w[j] >= 'a' && w[j] <= 'z'))) ++j, ++letters;
      std::string_view mark = w.substr(i + 1, letters);
      if (!equalsIgnoringCase(mark, "qnan") && !equalsIgnoringCase(mark, "snan") && !equalsIgnoringCase(mark, "ind") &&
          !equalsIgnoringCase(mark, "inf"))
        return false;
      return digitsAt(w, j) == w.size() - j;
    }
    fracDigits = digitsAt(w, i);
    i += fracDigits;
  }
  if (intDigits + fracDigits == 0) return false;
  if (i < w.size() && (w[i] == 'e' || w[i] == 'E')) {
    ++i;
    if (i < w.size() && (w[i] == '-' || w[i] == '+')) ++i;
    const std::size_t expDigits = digitsAt(w, i);
    if (expDigits == 0) return false;
    i += expDigits;
  }
  return i == w.size();
}

}  // namespace

void TextLexer::word(Token& t, std::size_t start) {
  const char* base = reinterpret_cast<const char*>(data_.data());
  while (pos_ < data_.size() && continuesWord(data_[pos_])) ++pos_;
  std::string_view w(base + start, pos_ - start);
  t.offset = start;
  t.text = w;
  t.exact = false;
  t.separated = Token::Separated::None;
  const char first = w[0];
  if (isDigit(first)) {
    std::size_t digits = digitsAt(w, 0);
    if (digits == w.size()) {
      std::uint64_t value = 0;
      for (char c : w) {
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
        if (value > 0xFFFFFFFFu) parseError("integer " + std::string(w) + " at offset " + std::to_string(start) +
                                            " does not fit 32 bits");
      }
      t.kind = TokenKind::Integer;
      t.integer = static_cast<std::uint32_t>(value);
      return;
    }
  } else if ((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z')) {
    for (const auto& k : kKeywords)
      if (equalsIgnoringCase(w, k.text)) {
        t.kind = k.kind;
        return;
      }
  }
  if (first != '#' && isNumber(w)) {
    t.kind = TokenKind::Float;
    return;
  }
  if (first != '+' && first != '.' && first != '#') {
    bool name = true;
    for (char c : w) name = name && isNameChar(c);
    if (name) {
      t.kind = TokenKind::Name;
      return;
    }
  }
  parseError("\"" + std::string(w.substr(0, 64)) + "\" at offset " + std::to_string(start) +
             " is neither a number nor a name");
}

bool TextLexer::other(Token& t) {
  const std::size_t size = data_.size();
  // Comments are rare enough to be handled here, after which the next token is read anew.
  if (data_[pos_] == '#' || (data_[pos_] == '/' && pos_ + 1 < size && data_[pos_ + 1] == '/')) {
    while (pos_ < size && data_[pos_] != '\n') ++pos_;
    return false;
  }
  const std::size_t start = pos_;
  const char c = static_cast<char>(data_[pos_]);
  const char* base = reinterpret_cast<const char*>(data_.data());
  t.offset = start;
  switch (c) {
    case '[': ++pos_; t.kind = TokenKind::OpenBracket; return true;
    case ']': ++pos_; t.kind = TokenKind::CloseBracket; return true;
    case '(': ++pos_; t.kind = TokenKind::OpenParen; return true;
    case ')': ++pos_; t.kind = TokenKind::CloseParen; return true;
    case '"': {
      std::size_t end = pos_ + 1;
      while (end < size && data_[end] != '"') ++end;
      if (end >= size) parseError("string at offset " + std::to_string(start) + " has no closing quote");
      t.kind = TokenKind::String;
      t.separated = Token::Separated::None;
      t.text = std::string_view(base + pos_ + 1, end - pos_ - 1);
      pos_ = end + 1;
      return true;
    }
    case '<': {
      constexpr std::size_t kGuidChars = 38;
      bool ok = size - pos_ >= kGuidChars && data_[pos_ + kGuidChars - 1] == '>';
      for (std::size_t i = 1; ok && i + 1 < kGuidChars; ++i) {
        const char g = static_cast<char>(data_[pos_ + i]);
        ok = (i == 9 || i == 14 || i == 19 || i == 24) ? g == '-' : isHex(g);
      }
      if (!ok) parseError("malformed GUID at offset " + std::to_string(start));
      t.kind = TokenKind::Guid;
      t.text = std::string_view(base + pos_, kGuidChars);
      pos_ += kGuidChars;
      return true;
    }
    case '.':
      if (pos_ + 1 >= size || !isDigit(static_cast<char>(data_[pos_ + 1]))) {
        ++pos_;
        t.kind = TokenKind::Dot;
        return true;
      }
      word(t, start);
      return true;
    default:
      if (continuesWord(static_cast<std::uint8_t>(c))) {
        word(t, start);
        return true;
      }
      parseError("unexpected character 0x" + std::to_string(static_cast<unsigned>(static_cast<std::uint8_t>(c))) +
                 " at offset " + std::to_string(start));
  }
}

}  // namespace vellmark::d3d
