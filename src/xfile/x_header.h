// The 16-byte header of a .x file: "xof ", a version of "0302" or "0303", the body format
// and the float size of binary float lists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vellmark::d3d {

inline constexpr std::size_t kXHeaderSize = 16;

enum class XBodyFormat { Text, Binary };

struct XHeader {
  XBodyFormat format = XBodyFormat::Text;
  bool compressed = false;    // "tzip" / "bzip": the body is MSZIP blocks
  std::uint32_t floatBytes = 4;  // 4 for "0032", 8 for "0064"
};

// Reads the header at the start of `file`. Raises Error with the bad-file-type,
// bad-version or bad-float-size code.
XHeader readXHeader(std::span<const std::uint8_t> file);

}  // namespace vellmark::d3d
