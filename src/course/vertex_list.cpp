#include "course/vertex_list.h"

#include <algorithm>
#include <sstream>

#include "formats/byte_reader.h"

namespace vellmark {

std::string vertexListText(std::span<const std::uint8_t> member) {
  if (member.size() < kVertexCountOffset + 4) return {};
  const std::uint32_t declared = loadU32(&member[kVertexCountOffset]) + 1u;
  const std::size_t present =
      member.size() > kVertexPointsOffset ? (member.size() - kVertexPointsOffset) / kVertexPointSize : 0;
  const std::size_t count = std::min<std::size_t>(declared, present);

  std::ostringstream text;
  ByteReader reader(member.subspan(std::min(member.size(), kVertexPointsOffset)), "vertex list");
  for (std::size_t i = 0; i < count; ++i) {
    const float x = reader.f32(), y = reader.f32(), z = reader.f32();
    text << x << ',' << y << ',' << z << '\n';
  }
  return text.str();
}

}  // namespace vellmark
