#include "xfile/x_tree.h"

#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <unordered_map>

#include "xfile/x_binary_lexer.h"
#include "xfile/x_error.h"
#include "xfile/x_names.h"
#include "xfile/x_text_lexer.h"
#include "base/byte_reader.h"

namespace vellmark::d3d {

namespace {

bool holdsData(XRole role) { return role != XRole::Ignored && role != XRole::Frame; }

// Double to float, rounding to nearest; beyond FLT_MAX plus half a unit the result is
// infinite, said outright so that no conversion is asked to leave float's range.
float narrow(double d) {
  constexpr double kOverflow = 0x1.ffffffp127;
  if (d >= kOverflow) return std::numeric_limits<float>::infinity();
  if (d <= -kOverflow) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(d);
}

// The value of a text number that the tokenizer accepted as a float. Decimal text goes
// through double and then float, as a C runtime's atof would take it.
float textNumber(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.remove_prefix(1);
  if (const auto mark = text.find('#'); mark != std::string_view::npos) {
    const bool infinite = mark + 3 < text.size() && asciiLower(text[mark + 1]) == 'i' &&
                          asciiLower(text[mark + 2]) == 'n' && asciiLower(text[mark + 3]) == 'f';
    const float v = infinite ? std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    return negative ? -v : v;
  }
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    const auto e = text.find_first_of("eE");
    const bool tiny = e != std::string_view::npos && e + 1 < text.size() && text[e + 1] == '-';
    value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
  } else if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
    parseError("cannot read the number \"" + std::string(text) + "\"");
  }
  return narrow(negative ? -value : value);
}

// A float token the tokenizer read as mantissa and fraction digits: one division by an
// exactly representable power of ten gives the correctly rounded double.
float exactNumber(const Token& t) {
  static constexpr double kPowers[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  const double magnitude = static_cast<double>(t.mantissa) / kPowers[t.fractionDigits];
  return narrow(t.negative ? -magnitude : magnitude);
}

template <class Lexer>
class Parser {
 public:
  Parser(Lexer lexer, std::size_t bodySize) : lexer_(std::move(lexer)) {
    // Room for the values of a typical file (about one per 8 body bytes) from the start.
    tree_.values.reserve(bodySize / 8);
    advance();
  }

  XTree run() {
    while (tok_.kind != TokenKind::End) {
      if (tok_.kind == TokenKind::Template) {
        parseTemplate();
      } else if (tok_.kind == TokenKind::Name) {
        tree_.topLevel.push_back(parseObject(0));
      } else {
        unexpected("a template or a data object");
      }
    }
    return std::move(tree_);
  }

 private:
  void advance() { lexer_.next(tok_); }

  [[noreturn]] void unexpected(const char* wanted) {
    parseError(std::string("expected ") + wanted + " at offset " + std::to_string(tok_.offset) + ", found " +
               tokenKindName(tok_.kind));
  }
  void expect(TokenKind kind, const char* wanted) {
    if (tok_.kind != kind) unexpected(wanted);
    advance();
  }

  // The loader reads objects member by member, so a template is only checked, not kept.
  void parseTemplate() {
    advance();
    if (tok_.kind != TokenKind::Name) unexpected("a template name");
    advance();
    expect(TokenKind::OpenBrace, "\"{\" after the template name");
    if (tok_.kind != TokenKind::Guid) unexpected("the template's GUID");
    advance();
    while (tok_.kind != TokenKind::CloseBrace && tok_.kind != TokenKind::OpenBracket) parseMember();
    if (tok_.kind == TokenKind::OpenBracket) parseRestriction();
    expect(TokenKind::CloseBrace, "\"}\" at the end of the template");
  }

  void parseMember() {
    if (tok_.kind == TokenKind::Array) {
      advance();
      if (!isPrimitiveType(tok_.kind) && tok_.kind != TokenKind::Name) unexpected("the array's element type");
      advance();
      if (tok_.kind != TokenKind::Name) unexpected("the array's name");
      advance();
      if (tok_.kind != TokenKind::OpenBracket) unexpected("\"[\" and the array's dimension");
      while (tok_.kind == TokenKind::OpenBracket) {
        advance();
        if (tok_.kind != TokenKind::Integer && tok_.kind != TokenKind::Name) unexpected("an array dimension");
        advance();
        expect(TokenKind::CloseBracket, "\"]\" after the array dimension");
      }
    } else {
      if (!isPrimitiveType(tok_.kind) && tok_.kind != TokenKind::Name) unexpected("a template member");
      advance();
      if (tok_.kind == TokenKind::Name) advance();
    }
    expect(TokenKind::Semicolon, "\";\" after the template member");
  }

  void parseRestriction() {
    advance();
    if (tok_.kind == TokenKind::Dot) {
      for (int i = 0; i < 3; ++i) expect(TokenKind::Dot, "\"...\" of an open template");
    } else {
      for (;;) {
        if (tok_.kind != TokenKind::Name) unexpected("a template name in the restriction list");
        advance();
        if (tok_.kind == TokenKind::Guid) advance();
        if (tok_.kind != TokenKind::Comma) break;
        advance();
      }
    }
    expect(TokenKind::CloseBracket, "\"]\" at the end of the restriction");
  }

  // One separator group after a data value: one ",", or a run of ";" and at most one ",".
  // `taken` is how much of it the tokenizer has read with the value already.
  void separator(Token::Separated taken) {
    if (taken == Token::Separated::Whole) return;
    if (taken == Token::Separated::None) {
      if (tok_.kind == TokenKind::Comma) {
        advance();
        return;
      }
      if (tok_.kind != TokenKind::Semicolon) unexpected("\";\" or \",\" after the value");
    }
    while (tok_.kind == TokenKind::Semicolon) advance();
    if (tok_.kind == TokenKind::Comma) advance();
  }

  std::uint32_t parseObject(std::uint32_t depth) {
    if (depth >= kMaxObjectDepth) parseError("data objects nest deeper than " + std::to_string(kMaxObjectDepth) + " levels");
    XObject object;
    object.type = tok_.text;
    object.role = roleOfType(object.type);
    advance();
    if (tok_.kind == TokenKind::Name) {
      object.name = tok_.text;
      advance();
    }
    expect(TokenKind::OpenBrace, "\"{\" after the object's type and name");
    if (tok_.kind == TokenKind::Guid) advance();

    const bool keep = holdsData(object.role);
    object.firstValue = static_cast<std::uint32_t>(tree_.values.size());
    const std::size_t childMark = childStack_.size();
    bool seenChild = false;
    for (;;) {
      switch (tok_.kind) {
        case TokenKind::CloseBrace:
          advance();
          if (!seenChild) endValues(object);
          return finish(object, childMark);
        case TokenKind::Name:
          if (!seenChild) endValues(object), seenChild = true;
          childStack_.push_back(parseObject(depth + 1));
          continue;
        case TokenKind::OpenBrace:
          if (!seenChild) endValues(object), seenChild = true;
          childStack_.push_back(parseReference());
          continue;
        case TokenKind::Integer:
        case TokenKind::Float:
        case TokenKind::String:
          if (seenChild) unexpected("a child object or \"}\" (data values come before children)");
          if (keep) pushValue();
          {
            const Token::Separated taken = tok_.separated;
            advance();
            separator(taken);
          }
          continue;
        case TokenKind::IntegerList:
        case TokenKind::FloatList:
          if (seenChild) unexpected("a child object or \"}\" (data values come before children)");
          if (keep) pushList();
          advance();
          continue;
        default:
          unexpected("a data value, a child object, a reference or \"}\"");
      }
    }
  }

  // The object's own values end where its first child (whose values follow) begins.
  void endValues(XObject& object) {
    object.valueCount = static_cast<std::uint32_t>(tree_.values.size() - object.firstValue);
  }

  std::uint32_t finish(XObject& object, std::size_t childMark) {
    object.firstChild = static_cast<std::uint32_t>(tree_.children.size());
    object.childCount = static_cast<std::uint32_t>(childStack_.size() - childMark);
    tree_.children.insert(tree_.children.end(), childStack_.begin() + static_cast<std::ptrdiff_t>(childMark),
                          childStack_.end());
    childStack_.resize(childMark);
    const auto index = static_cast<std::uint32_t>(tree_.objects.size());
    tree_.objects.push_back(object);
    // Registered only now that it is complete, so a reference can never name an object that
    // encloses it and the tree stays free of cycles.
    if (!object.name.empty()) names_[object.name] = index;
    return index;
  }

  std::uint32_t parseReference() {
    advance();
    if (tok_.kind != TokenKind::Name) unexpected("the name of the referenced object");
    const auto found = names_.find(tok_.text);
    advance();
    if (tok_.kind == TokenKind::Guid) advance();
    expect(TokenKind::CloseBrace, "\"}\" at the end of the reference");
    return found == names_.end() ? XTree::kUnresolved : found->second;
  }

  void pushValue() {
    XValue v;
    switch (tok_.kind) {
      case TokenKind::Integer:
        v.kind = XValue::Kind::Integer;
        v.bits = tok_.integer;
        break;
      case TokenKind::Float:
        v.kind = XValue::Kind::Float;
        v.bits = std::bit_cast<std::uint32_t>(tok_.exact ? exactNumber(tok_) : textNumber(tok_.text));
        break;
      default:
        v.kind = XValue::Kind::String;
        v.bits = static_cast<std::uint32_t>(tree_.strings.size());
        tree_.strings.push_back(tok_.text);
        break;
    }
    tree_.values.push_back(v);
  }

  void pushList() {
    const std::uint32_t count = tok_.integer;
    const std::uint8_t* p = tok_.list;
    const std::size_t start = tree_.values.size();
    tree_.values.resize(start + count);
    XValue* out = tree_.values.data() + start;
    if (tok_.kind == TokenKind::IntegerList) {
      for (std::uint32_t i = 0; i < count; ++i, p += 4) out[i] = XValue{loadU32(p), XValue::Kind::Integer};
    } else if (floatBytes() == 8) {
      for (std::uint32_t i = 0; i < count; ++i, p += 8) {
        const std::uint64_t bits = static_cast<std::uint64_t>(loadU32(p)) | (static_cast<std::uint64_t>(loadU32(p + 4)) << 32);
        out[i] = XValue{std::bit_cast<std::uint32_t>(narrow(std::bit_cast<double>(bits))), XValue::Kind::Float};
      }
    } else {
      for (std::uint32_t i = 0; i < count; ++i, p += 4) out[i] = XValue{loadU32(p), XValue::Kind::Float};
    }
  }

  std::uint32_t floatBytes() const {
    if constexpr (std::is_same_v<Lexer, BinaryLexer>) return lexer_.floatBytes();
    return 4;
  }

  Lexer lexer_;
  Token tok_;
  XTree tree_;
  std::vector<std::uint32_t> childStack_;
  std::unordered_map<std::string_view, std::uint32_t> names_;
};

struct RoleName {
  std::string_view name;
  XRole role;
};
constexpr RoleName kRoles[] = {
    {"Mesh", XRole::Mesh},
    {"MeshNormals", XRole::MeshNormals},
    {"MeshTextureCoords", XRole::MeshTextureCoords},
    {"MeshVertexColors", XRole::MeshVertexColors},
    {"MeshMaterialList", XRole::MeshMaterialList},
    {"Material", XRole::Material},
    {"TextureFilename", XRole::TextureFilename},
    {"Frame", XRole::Frame},
    {"FrameTransformMatrix", XRole::FrameTransformMatrix},
};

}  // namespace

XRole roleOfType(std::string_view typeName) {
  for (const auto& r : kRoles)
    if (equalsIgnoringCase(typeName, r.name)) return r.role;
  return XRole::Ignored;
}

XTree parseXBody(std::span<const std::uint8_t> body, const XHeader& header) {
  if (header.format == XBodyFormat::Text) return Parser<TextLexer>(TextLexer(body), body.size()).run();
  return Parser<BinaryLexer>(BinaryLexer(body, header.floatBytes), body.size()).run();
}

const char* tokenKindName(TokenKind kind) {
  switch (kind) {
    case TokenKind::End: return "the end of the data";
    case TokenKind::Name: return "a name";
    case TokenKind::String: return "a string";
    case TokenKind::Integer: return "an integer";
    case TokenKind::Float: return "a number";
    case TokenKind::Guid: return "a GUID";
    case TokenKind::IntegerList: return "an integer list";
    case TokenKind::FloatList: return "a float list";
    case TokenKind::OpenBrace: return "\"{\"";
    case TokenKind::CloseBrace: return "\"}\"";
    case TokenKind::OpenParen: return "\"(\"";
    case TokenKind::CloseParen: return "\")\"";
    case TokenKind::OpenBracket: return "\"[\"";
    case TokenKind::CloseBracket: return "\"]\"";
    case TokenKind::OpenAngle: return "\"<\"";
    case TokenKind::CloseAngle: return "\">\"";
    case TokenKind::Dot: return "\".\"";
    case TokenKind::Comma: return "\",\"";
    case TokenKind::Semicolon: return "\";\"";
    case TokenKind::Template: return "\"template\"";
    case TokenKind::Array: return "\"array\"";
    default: return "a type keyword";
  }
}

}  // namespace vellmark::d3d
