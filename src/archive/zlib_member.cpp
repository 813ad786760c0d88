#include "archive/zlib_member.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

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

std::vector<std::uint8_t> compressMemberFrom(std::uint32_t size,
                                             const std::function<std::size_t(std::uint8_t*, std::size_t)>& read) {
  const std::uint64_t room = compressionBufferSize(size);
  if (room > std::numeric_limits<uInt>::max() || room > std::numeric_limits<std::size_t>::max())
    fail(ErrorKind::Unsupported, "member of " + std::to_string(size) + " bytes is too large to compress");
  std::vector<std::uint8_t> out(static_cast<std::size_t>(room));
  z_stream stream{};
  if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  std::vector<std::uint8_t> piece(std::min<std::size_t>(size, std::size_t{1} << 20));
  std::uint64_t left = size;
  int status = Z_OK;
  // As zlib's compress: no flush until the input has all been given, then Z_FINISH; a full
  // buffer ends it where compress would have ended it.
  do {
    if (stream.avail_in == 0 && left > 0) {
      const std::size_t got = read(piece.data(), static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), left)));
      if (got == 0) {
        deflateEnd(&stream);
        fail(ErrorKind::Truncated, "member ended after " + std::to_string(size - left) + " of " +
                                       std::to_string(size) + " bytes");
      }
      left -= got;
      stream.next_in = piece.data();
      stream.avail_in = static_cast<uInt>(got);
    }
    status = deflate(&stream, left > 0 ? Z_NO_FLUSH : Z_FINISH);
  } while (status == Z_OK);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  out.shrink_to_fit();  // finished members wait for their turn; only what they hold should stay
  return out;
}

HeapBytes HeapBytes::zeroed(std::size_t n) {
  HeapBytes out;
  out.data_.reset(static_cast<std::uint8_t*>(std::calloc(n ? n : 1, 1)));
  if (!out.data_) throw std::bad_alloc();
  out.size_ = n;
  return out;
}

void HeapBytes::resize(std::size_t n) {
  if (n == size_) return;
  auto* grown = static_cast<std::uint8_t*>(std::realloc(data_.get(), n ? n : 1));
  if (!grown) throw std::bad_alloc();
  (void)data_.release();
  data_.reset(grown);
  size_ = n;
}

InflateResult inflateMember(std::span<const std::uint8_t> compressed, std::size_t capacity) {
  InflateResult result;
  result.buffer = HeapBytes::zeroed(capacity);
  uLongf length = static_cast<uLongf>(capacity);
  // zlib wants non-null pointers even for empty buffers.
  Bytef dummy = 0;
  result.status = uncompress(capacity ? result.buffer.data() : &dummy, &length,
                             compressed.empty() ? &dummy : compressed.data(), static_cast<uLong>(compressed.size()));
  result.length = length;
  return result;
}

namespace {

constexpr std::size_t kMaxZlibCount = std::numeric_limits<uInt>::max();
// Where the buffer starts: enough for most members at once, and nothing a declared size
// can inflate.
constexpr std::size_t kFirstRoom = std::size_t{1} << 20;

struct InflateStream {
  z_stream stream{};
  int status = inflateInit(&stream);
  ~InflateStream() {
    if (status == Z_OK) inflateEnd(&stream);
  }
};

}  // namespace

InflateResult inflateBounded(std::span<const std::uint8_t> compressed, std::size_t capacity) {
  // uncompress answers a zero-sized destination with a byte of its own it never reports.
  if (capacity == 0) return inflateMember(compressed, 0);
  InflateResult result;
  InflateStream inflater;
  if (inflater.status != Z_OK) {
    result.status = inflater.status;
    return result;
  }
  // The loop is uncompress's own, but the destination is handed over as it grows: zlib
  // keeps its window apart from the output, so the buffer may move between calls.
  z_stream& s = inflater.stream;
  Bytef dummy = 0;
  const Bytef* input = compressed.empty() ? &dummy : compressed.data();
  std::size_t inputLeft = compressed.size();
  std::size_t given = 0;  // bytes of the destination handed to zlib so far
  result.buffer.resize(std::min(capacity, std::max(kFirstRoom, compressed.size())));
  s.next_out = result.buffer.data();
  s.avail_out = 0;
  int status = Z_OK;
  do {
    if (s.avail_out == 0 && given < capacity) {
      if (given == result.buffer.size())
        result.buffer.resize(given > capacity / 2 ? capacity : std::max(given * 2, kFirstRoom));
      s.next_out = result.buffer.data() + given;
      s.avail_out = static_cast<uInt>(std::min(result.buffer.size() - given, kMaxZlibCount));
      given += s.avail_out;
    }
    if (s.avail_in == 0) {
      // zlib reads through a const-less pointer but never writes the input.
      s.next_in = const_cast<Bytef*>(input);
      s.avail_in = static_cast<uInt>(std::min(inputLeft, kMaxZlibCount));
      input += s.avail_in;
      inputLeft -= s.avail_in;
    }
    status = inflate(&s, Z_NO_FLUSH);
  } while (status == Z_OK);
  const std::size_t roomLeft = capacity - given + s.avail_out;
  result.length = given - s.avail_out;
  result.status = status == Z_STREAM_END                  ? Z_OK
                  : status == Z_NEED_DICT                 ? Z_DATA_ERROR
                  : status == Z_BUF_ERROR && roomLeft > 0 ? Z_DATA_ERROR
                                                          : status;
  result.buffer.resize(result.length);
  return result;
}

}  // namespace vellmark
