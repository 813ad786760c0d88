// Inflation of one member chunk with the game's fixed allowance: the extractor gives zlib a
// destination of exactly eight times the chunk's length, so a member that inflates to more
// is a failure, and bytes after the end of the stream are ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "base/byte_reader.h"

namespace vellmark {

inline constexpr std::uint64_t kInflateAllowance = 8;

// A reusable destination buffer; one per thread. It grows to the largest allowance met and
// keeps that size, so that consecutive members do not fault in fresh pages.
class InflateScratch {
 public:
  InflateScratch();
  ~InflateScratch();
  InflateScratch(const InflateScratch&) = delete;
  InflateScratch& operator=(const InflateScratch&) = delete;

  std::uint8_t* data() { return data_.get(); }
  std::size_t size() const { return size_; }
  // Makes room for at least `bytes`, keeping the first `keep` bytes.
  void reserve(std::size_t bytes, std::size_t keep);
  // The one-shot decompressor of this thread, where the build has one (else null).
  void* fastDecompressor() { return fast_; }

 private:
  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t size_ = 0;
  void* fast_ = nullptr;
};

// Inflates the zlib stream at the start of `chunk` exactly as zlib's uncompress does into a
// destination of `capacity` bytes: success only when the stream ends within `capacity`
// bytes of output (exactly `capacity` included); trailing bytes after the stream are
// ignored; a truncated or corrupt stream, a preset dictionary or more output than
// `capacity` are failures; so is a `capacity` of 0, which the extractor never asks for
// (zlib's uncompress treats a zero-sized destination specially). Returns the inflated bytes, which live in `scratch` until its
// next use, or nullopt.
//
// libdeflate and zlib give the same bytes for every stream that follows the zlib and
// deflate formats. They differ on streams no compressor writes: libdeflate accepts the
// reserved length codes 286-287 and distance codes 30-31 of fixed-code blocks and dynamic
// blocks declaring more than 286 or 30 codes, which zlib rejects ("invalid literal/length
// code", "invalid distance code", "too many length or distance symbols").
//
// Up to `directLimit` bytes of capacity are reserved in advance and the stream is inflated
// in one call (on Linux builds with libdeflate by its one-shot decompressor, whose result
// is taken when it succeeds; when it fails, zlib decides, so every failure is zlib's own).
// Beyond that (an allowance of many megabytes, for a chunk that is most of a
// large archive) the buffer grows as output arrives, so that no allowance is ever
// allocated that the member does not use. The result is the same either way.
// True when this build inflates with libdeflate and so accepts the reserved codes above.
bool inflateAcceptsReservedCodes();

std::optional<Bytes> inflateChunk(Bytes chunk, std::uint64_t capacity, InflateScratch& scratch,
                                  std::size_t directLimit = std::size_t{64} << 20);

}  // namespace vellmark
