// How the game's extractor finds the members of a course archive without its directory:
// it skips the 16-byte header and cuts the bytes at every zlib stream signature 78 9C.
#pragma once

#include <cstddef>
#include <vector>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr int kExtractionPasses = 2500;        // passes 0-2499; later members are cut off
inline constexpr std::size_t kExtractionStart = 16;   // the archive header is skipped
inline constexpr std::uint8_t kZlibSignature[2] = {0x78, 0x9C};  // CMF, FLG of a default-level stream

// The first position at or after `from` where the bytes 78 9C begin, or data.size() when
// there is none. A final 0x78 is not a signature: its second byte would lie past the end.
std::size_t findZlibSignature(Bytes data, std::size_t from);

// One pass's chunk: the bytes [start, end) handed to inflation.
struct MemberChunk {
  std::size_t start = 0;
  std::size_t end = 0;
  std::size_t size() const { return end - start; }
  // The pass that found no signature takes the whole buffer, from offset 0. Whatever lies
  // there is inside the 16 bytes the search skips, so that pass never yields a member.
  bool wholeBuffer() const { return start == 0; }
  bool operator==(const MemberChunk&) const = default;
};

// The chunk of every search pass, index = pass number, as the game's extractor cuts them:
// from the first signature at or after the search position up to the next signature (or
// the end of the data); with no signature left, the whole buffer (0, size), after which
// the search is at the end. Passes after the search reached the end do nothing and are
// not listed, nor are passes beyond 2499.
std::vector<MemberChunk> findMemberChunks(Bytes archive);

}  // namespace vellmark
