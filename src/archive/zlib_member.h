// zlib one-shot compression and inflation of course-archive members, with the buffer
// sizes the game's tools use so that the compressed bytes and the success or failure of
// every inflation are exactly theirs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <cstdlib>
#include <memory>
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

// The same bytes for a member handed over in pieces, so that it never needs to be in memory
// whole: `read(buffer, n)` fills at most n bytes and returns how many, and must deliver
// exactly `size` bytes in all (Error(Truncated) when it stops short). zlib's output does not
// depend on how its input is divided, so the stream equals compressMember's, cut at the
// same buffer size.
std::vector<std::uint8_t> compressMemberFrom(std::uint32_t size,
                                             const std::function<std::size_t(std::uint8_t*, std::size_t)>& read);

// Bytes in one block of the C heap: grown by realloc, which on the usual systems moves a
// large block by remapping its pages instead of copying them, and zeroed by calloc, whose
// pages cost no memory until something is written to them.
class HeapBytes {
 public:
  HeapBytes() = default;
  // `n` zero bytes; std::bad_alloc when they cannot be had.
  static HeapBytes zeroed(std::size_t n);
  // Keeps the first min(n, size()) bytes; the others are unspecified. std::bad_alloc.
  void resize(std::size_t n);

  std::uint8_t* data() { return data_.get(); }
  const std::uint8_t* data() const { return data_.get(); }
  std::size_t size() const { return size_; }
  const std::uint8_t* begin() const { return data_.get(); }
  const std::uint8_t* end() const { return data_.get() + size_; }
  operator std::span<const std::uint8_t>() const { return {data_.get(), size_}; }

 private:
  struct Free {
    void operator()(std::uint8_t* p) const { std::free(p); }
  };
  std::unique_ptr<std::uint8_t, Free> data_;
  std::size_t size_ = 0;
};

struct InflateResult {
  int status = 0;           // zlib's result code; 0 (Z_OK) on success
  HeapBytes buffer;         // see the functions below
  std::size_t length = 0;   // the length zlib reports (on failure, what it produced)
  bool ok() const { return status == 0; }
};

// zlib `uncompress` of `compressed` into a zero-filled buffer of exactly `capacity` bytes,
// which is `buffer`: the game's tools use the whole of it whether or not the stream filled
// it. Only the pages zlib writes (and those a caller reads) become memory, so a member
// that declares gigabytes and fails at once costs address space, not memory.
// std::bad_alloc when that much address space cannot be had.
InflateResult inflateMember(std::span<const std::uint8_t> compressed, std::size_t capacity);

// The same status and length as inflateMember, but `buffer` holds just the `length` bytes
// zlib wrote and grows as they come: the declared `capacity` only caps it, so garbage that
// declares gigabytes fails after the few bytes it really inflates to. std::bad_alloc when
// the real output cannot be held.
InflateResult inflateBounded(std::span<const std::uint8_t> compressed, std::size_t capacity);

}  // namespace vellmark
