#include "archive/vertex_list.h"

#include <algorithm>
#include <charconv>

#include "base/byte_reader.h"

namespace vellmark {

namespace {

// A C++ output stream's default float notation is printf's "%.6g", which std::to_chars
// with chars_format::general and precision 6 produces by definition, without the locale
// and stream machinery (the vertex lists run to hundreds of thousands of numbers) and
// with the same two-digit exponent on every platform.
char* appendFloat(char* out, char* end, float value) {
  return std::to_chars(out, end, value, std::chars_format::general, 6).ptr;
}

}  // namespace

std::string vertexListText(std::span<const std::uint8_t> member) {
  if (member.size() < kVertexCountOffset + 4) return {};
  const std::uint32_t declared = loadU32(&member[kVertexCountOffset]) + 1u;
  const std::size_t present =
      member.size() > kVertexPointsOffset ? (member.size() - kVertexPointsOffset) / kVertexPointSize : 0;
  const std::size_t count = std::min<std::size_t>(declared, present);

  std::string text;
  text.reserve(count * 24);
  ByteReader reader(member.subspan(std::min(member.size(), kVertexPointsOffset)), "vertex list");
  // Longest line: three of "-1.23457e-38" (12 characters) or "-nan", two commas, a newline.
  char line[3 * 16 + 3];
  for (std::size_t i = 0; i < count; ++i) {
    char* p = line;
    char* const end = line + sizeof line;
    p = appendFloat(p, end, reader.f32());
    *p++ = ',';
    p = appendFloat(p, end, reader.f32());
    *p++ = ',';
    p = appendFloat(p, end, reader.f32());
    *p++ = '\n';
    text.append(line, p);
  }
  return text;
}

}  // namespace vellmark
