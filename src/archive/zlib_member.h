// zlib one-shot compression and inflation of course-archive members, with the buffer
// sizes the game's tools use so that the compressed bytes and the success or failure of
// every inflation are exactly theirs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vellmark {

// Size of the buffer handed to zlib's compress for n input bytes: floor(n x 1.1 + 12),
// the product taken in double precision.
std::uint64_t compressionBufferSize(std::uint32_t n);

// zlib `compress` at the default level into a buffer of compressionBufferSize(n) bytes.
// The result code is not examined: the buffer is cut to the length zlib reports, as the
// game's archives were written.
std::vector<std::uint8_t> compressMember(std::span<const std::uint8_t> data);

struct InflateResult {
  int status = 0;                   // zlib's result code; 0 (Z_OK) on success
  std::vector<std::uint8_t> buffer; // the whole destination buffer, zero past what zlib wrote
  std::size_t length = 0;           // the length zlib reports (on failure, what it produced)
  bool ok() const { return status == 0; }
};

// zlib `uncompress` of `compressed` into a zero-filled buffer of exactly `capacity` bytes.
InflateResult inflateMember(std::span<const std::uint8_t> compressed, std::size_t capacity);

}  // namespace vellmark
