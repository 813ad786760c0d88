#include "archive/member_inflate.h"

#include <zlib.h>
#ifdef VELLMARK_HAVE_LIBDEFLATE
#include <libdeflate.h>
#endif

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace vellmark {

InflateScratch::InflateScratch() {
#ifdef VELLMARK_HAVE_LIBDEFLATE
  fast_ = libdeflate_alloc_decompressor();
#endif
}

InflateScratch::~InflateScratch() {
#ifdef VELLMARK_HAVE_LIBDEFLATE
  libdeflate_free_decompressor(static_cast<libdeflate_decompressor*>(fast_));
#endif
}

void InflateScratch::reserve(std::size_t bytes, std::size_t keep) {
  if (bytes <= size_) return;
  // Not value-initialised: zlib writes every byte that is handed out.
  std::unique_ptr<std::uint8_t[]> grown(new std::uint8_t[bytes]);
  if (keep) std::memcpy(grown.get(), data_.get(), keep);
  data_ = std::move(grown);
  size_ = bytes;
}

namespace {

constexpr std::size_t kMaxZlibCount = std::numeric_limits<uInt>::max();

struct InflateStream {
  z_stream stream{};
  bool ready = false;
  InflateStream() { ready = inflateInit(&stream) == Z_OK; }
  ~InflateStream() {
    if (ready) inflateEnd(&stream);
  }
};

}  // namespace

bool inflateAcceptsReservedCodes() {
#ifdef VELLMARK_HAVE_LIBDEFLATE
  return true;
#else
  return false;
#endif
}

std::optional<Bytes> inflateChunk(Bytes chunk, std::uint64_t capacity, InflateScratch& scratch,
                                  std::size_t directLimit) {
  if (capacity == 0) return std::nullopt;  // zlib cannot end a stream in no room
  // The largest buffer this process could hold; a bigger allowance can never be used up
  // anyway, since the buffer then fails to grow first (std::bad_alloc).
  const std::size_t limit = static_cast<std::size_t>(
      std::min<std::uint64_t>(capacity, std::numeric_limits<std::size_t>::max()));
  scratch.reserve(std::min(limit, std::max(directLimit, std::size_t{1})), 0);
  std::size_t room = std::min(limit, scratch.size());

#ifdef VELLMARK_HAVE_LIBDEFLATE
  if (room == limit && scratch.fastDecompressor()) {
    std::size_t consumed = 0, produced = 0;
    const auto result =
        libdeflate_zlib_decompress_ex(static_cast<libdeflate_decompressor*>(scratch.fastDecompressor()), chunk.data(),
                                      chunk.size(), scratch.data(), limit, &consumed, &produced);
    if (result == LIBDEFLATE_SUCCESS) return Bytes(scratch.data(), produced);
  }
#endif

  InflateStream inflater;
  if (!inflater.ready) throw std::bad_alloc();
  z_stream& s = inflater.stream;
  const std::uint8_t* input = chunk.data();
  std::size_t inputLeft = chunk.size();
  std::size_t produced = 0;
  s.next_out = scratch.data();
  s.avail_out = 0;
  for (;;) {
    if (s.avail_out == 0) {
      produced = static_cast<std::size_t>(s.next_out - scratch.data());
      if (produced == limit) return std::nullopt;  // the allowance is used up before the stream ends
      if (produced == room) {
        scratch.reserve(produced > limit / 2 ? limit : std::max(produced * 2, room), produced);
        room = std::min(limit, scratch.size());
      }
      s.next_out = scratch.data() + produced;
      s.avail_out = static_cast<uInt>(std::min(room - produced, kMaxZlibCount));
    }
    if (s.avail_in == 0 && inputLeft > 0) {
      // zlib reads through a const-less pointer but never writes the input.
      s.next_in = const_cast<Bytef*>(input);
      s.avail_in = static_cast<uInt>(std::min(inputLeft, kMaxZlibCount));
      input += s.avail_in;
      inputLeft -= s.avail_in;
    }
    const int status = inflate(&s, Z_NO_FLUSH);
    if (status == Z_STREAM_END) {
      produced = static_cast<std::size_t>(s.next_out - scratch.data());
      return Bytes(scratch.data(), produced);
    }
    if (status == Z_OK) continue;
    // No progress: with room left that means the input ran out in mid-stream.
    if (status == Z_BUF_ERROR && s.avail_out == 0) continue;
    return std::nullopt;
  }
}

}  // namespace vellmark
