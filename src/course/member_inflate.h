// Inflation of one member chunk with the game's fixed allowance: the extractor gives zlib a
// destination of exactly eight times the chunk's length, so a member that inflates to more
// is a failure, and bytes after the end of the stream are ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "formats/byte_reader.h"

namespace vellmark {

inline constexpr std::uint64_t kInflateAllowance = 8;

// A reusable destination buffer; one per thread. It grows to the largest allowance met and
// keeps that size, so that consecutive members do not fault in fresh pages.
class InflateScratch {
 public:
  std::uint8_t* data() { return data_.get(); }
  std::size_t size() const { return size_; }
  // Makes room for at least `bytes`, keeping the first `keep` bytes.
  void reserve(std::size_t bytes, std::size_t keep);

 private:
  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t size_ = 0;
};

// Inflates the zlib stream at the start of `chunk` exactly as zlib's uncompress does into a
// destination of `capacity` bytes: success only when the stream ends within `capacity`
// bytes of output (exactly `capacity` included); trailing bytes after the stream are
// ignored; a truncated or corrupt stream, a preset dictionary or more output than
// `capacity` are failures; so is a `capacity` of 0, which the extractor never asks for
// (zlib's uncompress treats a zero-sized destination specially). Returns the inflated bytes, which live in `scratch` until its
// next use, or nullopt.
//
// Up to `directLimit` bytes of capacity are reserved in advance and the stream is inflated
// in one call; beyond that (an allowance of many megabytes, for a chunk that is most of a
// large archive) the buffer grows as output arrives, so that no allowance is ever
// allocated that the member does not use. The result is the same either way.
std::optional<Bytes> inflateChunk(Bytes chunk, std::uint64_t capacity, InflateScratch& scratch,
                                  std::size_t directLimit = std::size_t{64} << 20);

}  // namespace vellmark
