// Comparing .x keywords and type names, which the format matches without regard to
// (ASCII) case.
#pragma once

#include <string_view>

namespace vellmark::d3d {

constexpr char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  return true;
}

}  // namespace vellmark::d3d
