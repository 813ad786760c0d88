// SHA-256 for pinning known-good outputs of real files in the tests' manifests.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vellmark::test {

// Lower-case hex digest of `data`, as sha256sum prints it.
std::string sha256Hex(std::span<const std::uint8_t> data);

}  // namespace vellmark::test
