#include "xfile/x_binary_lexer.h"

#include <string>

#include "xfile/x_error.h"
#include "base/byte_reader.h"

namespace vellmark::d3d {

namespace {

TokenKind simpleToken(std::uint16_t id) {
  switch (id) {
    case 10: return TokenKind::OpenBrace;
    case 11: return TokenKind::CloseBrace;
    case 12: return TokenKind::OpenParen;
    case 13: return TokenKind::CloseParen;
    case 14: return TokenKind::OpenBracket;
    case 15: return TokenKind::CloseBracket;
    case 16: return TokenKind::OpenAngle;
    case 17: return TokenKind::CloseAngle;
    case 18: return TokenKind::Dot;
    case 19: return TokenKind::Comma;
    case 20: return TokenKind::Semicolon;
    case 31: return TokenKind::Template;
    case 40: return TokenKind::Word;
    case 41: return TokenKind::Dword;
    case 42: return TokenKind::FloatType;
    case 43: return TokenKind::Double;
    case 44: return TokenKind::Char;
    case 45: return TokenKind::Uchar;
    case 46: return TokenKind::Sword;
    case 47: return TokenKind::Sdword;
    case 48: return TokenKind::Void;
    case 49: return TokenKind::StringType;
    case 50: return TokenKind::Unicode;
    case 51: return TokenKind::Cstring;
    case 52: return TokenKind::Array;
    default: return TokenKind::End;
  }
}

}  // namespace

void BinaryLexer::next(Token& t) {
  t.offset = pos_;
  t.separated = Token::Separated::None;
  const std::size_t left = data_.size() - pos_;
  if (left == 0) {
    t.kind = TokenKind::End;
    return;
  }
  if (left < 2) parseError("binary .x body ends inside a token number at offset " + std::to_string(pos_));
  const std::uint16_t id = loadU16(&data_[pos_]);
  pos_ += 2;
  auto need = [&](std::uint64_t bytes, const char* what) {
    if (bytes > data_.size() - pos_)
      parseError(std::string("binary .x ") + what + " at offset " + std::to_string(t.offset) + " needs " +
                 std::to_string(bytes) + " bytes, " + std::to_string(data_.size() - pos_) + " are left");
  };
  switch (id) {
    case 1:
    case 2: {
      need(4, id == 1 ? "name" : "string");
      const std::uint32_t length = loadU32(&data_[pos_]);
      pos_ += 4;
      need(length, id == 1 ? "name" : "string");
      t.kind = id == 1 ? TokenKind::Name : TokenKind::String;
      t.text = std::string_view(reinterpret_cast<const char*>(&data_[pos_]), length);
      pos_ += length;
      return;
    }
    case 3:
      need(4, "integer");
      t.kind = TokenKind::Integer;
      t.integer = loadU32(&data_[pos_]);
      pos_ += 4;
      return;
    case 5:
      need(16, "GUID");
      t.kind = TokenKind::Guid;
      t.text = std::string_view(reinterpret_cast<const char*>(&data_[pos_]), 16);
      pos_ += 16;
      return;
    case 6:
    case 7: {
      const char* what = id == 6 ? "integer list" : "float list";
      need(4, what);
      const std::uint32_t count = loadU32(&data_[pos_]);
      pos_ += 4;
      need(static_cast<std::uint64_t>(count) * (id == 6 ? 4u : floatBytes_), what);
      t.kind = id == 6 ? TokenKind::IntegerList : TokenKind::FloatList;
      t.integer = count;
      t.list = &data_[pos_];
      pos_ += static_cast<std::size_t>(count) * (id == 6 ? 4u : floatBytes_);
      return;
    }
    default:
      t.kind = simpleToken(id);
      if (t.kind == TokenKind::End)
        parseError("unknown binary .x token " + std::to_string(id) + " at offset " + std::to_string(t.offset));
      return;
  }
}

}  // namespace vellmark::d3d
