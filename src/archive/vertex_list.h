// The coordinate text of a vertex-list member: one "x,y,z" line per point.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vellmark {

inline constexpr std::size_t kVertexCountOffset = 16;   // point count minus one
inline constexpr std::size_t kVertexPointsOffset = 40;  // x, y, z floats from here
inline constexpr std::size_t kVertexPointSize = 12;

// One line per point, each float in the default notation of a C++ output stream (six
// significant digits, general notation: 0.1, 1e+06, -0). The count at offset 16 (plus one,
// in 32-bit arithmetic) is trusted only as far as the member holds points: a count beyond
// the data gives the points that are present.
std::string vertexListText(std::span<const std::uint8_t> member);

}  // namespace vellmark
