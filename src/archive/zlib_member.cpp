#include "archive/zlib_member.h"

#include <zlib.h>

#include <limits>

#include "base/error.h"

namespace vellmark {

std::uint64_t compressionBufferSize(std::uint32_t n) {
  return static_cast<std::uint64_t>(static_cast<double>(n) * 1.1 + 12.0);
}

std::vector<std::uint8_t> compressMember(std::span<const std::uint8_t> data) {
  const std::uint64_t room = data.size() <= std::numeric_limits<std::uint32_t>::max()
                                 ? compressionBufferSize(static_cast<std::uint32_t>(data.size()))
                                 : std::numeric_limits<std::uint64_t>::max();
  if (room > std::numeric_limits<uLong>::max() || room > std::numeric_limits<std::size_t>::max())
    fail(ErrorKind::Unsupported, "member of " + std::to_string(data.size()) + " bytes is too large to compress");
  std::vector<std::uint8_t> out(static_cast<std::size_t>(room));
  uLongf length = static_cast<uLongf>(out.size());
  (void)compress(out.data(), &length, data.data(), static_cast<uLong>(data.size()));
  out.resize(length);
  return out;
}

InflateResult inflateMember(std::span<const std::uint8_t> compressed, std::size_t capacity) {
  InflateResult result;
  result.buffer.resize(capacity);
  uLongf length = static_cast<uLongf>(capacity);
  // zlib wants non-null pointers even for empty buffers.
  Bytef dummy = 0;
  result.status = uncompress(capacity ? result.buffer.data() : &dummy, &length,
                             compressed.empty() ? &dummy : compressed.data(), static_cast<uLong>(compressed.size()));
  result.length = length;
  return result;
}

}  // namespace vellmark
