#include "archive/member_search.h"

#include <cstring>

namespace vellmark {

std::size_t findZlibSignature(Bytes data, std::size_t from) {
  const std::size_t size = data.size();
  if (size < 2) return size;
  // memchr finds the candidates; compressed data holds a 0x78 about every 256 bytes.
  const std::size_t last = size - 1;  // a signature's first byte lies below this
  while (from < last) {
    const void* hit = std::memchr(data.data() + from, kZlibSignature[0], last - from);
    if (!hit) break;
    const auto at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - data.data());
    if (data[at + 1] == kZlibSignature[1]) return at;
    from = at + 1;
  }
  return size;
}

std::vector<MemberChunk> findMemberChunks(Bytes archive) {
  std::vector<MemberChunk> chunks;
  const std::size_t size = archive.size();
  std::size_t position = kExtractionStart;
  for (int pass = 0; pass < kExtractionPasses && position < size; ++pass) {
    const std::size_t start = findZlibSignature(archive, position);
    MemberChunk chunk;
    if (start == size) {
      chunk = {0, size};  // no signature left: the whole buffer goes to inflation
    } else {
      chunk = {start, findZlibSignature(archive, start + 1)};
    }
    chunks.push_back(chunk);
    position = chunk.end;
  }
  return chunks;
}

}  // namespace vellmark
