#include "xfile/x_mszip.h"

#include <zlib.h>

#include <algorithm>
#include <string>

#include "xfile/x_error.h"
#include "xfile/x_header.h"
#include "base/byte_reader.h"

namespace vellmark::d3d {

namespace {

constexpr std::size_t kWindowSize = 32768;

class RawInflater {
 public:
  RawInflater() {
    if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) failX(kOutOfMemory, "cannot start the inflater");
  }
  ~RawInflater() { inflateEnd(&stream_); }
  RawInflater(const RawInflater&) = delete;
  RawInflater& operator=(const RawInflater&) = delete;

  // Inflates one complete raw deflate stream into exactly `out`, with `history` as the
  // window it may copy from. Returns false unless the stream ends exactly at out's end.
  bool inflateBlock(Bytes input, Bytes history, std::span<std::uint8_t> out) {
    if (inflateReset(&stream_) != Z_OK) return false;
    if (!history.empty() &&
        inflateSetDictionary(&stream_, history.data(), static_cast<uInt>(history.size())) != Z_OK)
      return false;
    stream_.next_in = const_cast<Bytef*>(input.data());
    stream_.avail_in = static_cast<uInt>(input.size());
    stream_.next_out = out.data();
    stream_.avail_out = static_cast<uInt>(out.size());
    int rc = inflate(&stream_, Z_FINISH);
    return rc == Z_STREAM_END && stream_.avail_out == 0;
  }

 private:
  z_stream stream_{};
};

}  // namespace

std::vector<std::uint8_t> inflateMszipBody(std::span<const std::uint8_t> afterHeader) {
  ByteReader in(afterHeader, "compressed .x body");
  if (in.remaining() < 4) parseError("compressed .x file ends before its total size");
  const std::uint32_t total = in.u32();
  if (total < kXHeaderSize) parseError("compressed .x file states a total size below its header size");
  const std::uint32_t expected = total - static_cast<std::uint32_t>(kXHeaderSize);

  std::vector<std::uint8_t> out;
  RawInflater inflater;
  std::size_t block = 0;
  while (in.remaining() > 0) {
    if (in.remaining() < 6) parseError("compressed .x block " + std::to_string(block) + " has a cut-off header");
    const std::uint16_t rawSize = in.u16();
    const std::uint16_t packedSize = in.u16();
    if (packedSize < 2 || packedSize > in.remaining())
      parseError("compressed .x block " + std::to_string(block) + " states " + std::to_string(packedSize) +
                 " bytes, " + std::to_string(in.remaining()) + " are left");
    Bytes packed = in.take(packedSize);
    if (packed[0] != 'C' || packed[1] != 'K')
      parseError("compressed .x block " + std::to_string(block) + " lacks its CK signature");
    if (rawSize > expected - out.size())
      parseError("compressed .x blocks hold more than the stated total of " + std::to_string(total) + " bytes");
    const std::size_t start = out.size();
    out.resize(start + rawSize);
    const std::size_t historySize = std::min(start, kWindowSize);
    Bytes history(out.data() + start - historySize, historySize);
    if (!inflater.inflateBlock(packed.subspan(2), history, std::span(out).subspan(start)))
      parseError("compressed .x block " + std::to_string(block) + " does not inflate to its stated " +
                 std::to_string(rawSize) + " bytes");
    ++block;
  }
  if (out.size() != expected)
    parseError("compressed .x blocks give " + std::to_string(out.size()) + " bytes, the file states " +
               std::to_string(expected));
  return out;
}

}  // namespace vellmark::d3d
