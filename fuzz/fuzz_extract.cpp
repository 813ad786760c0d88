// Course extraction on arbitrary bytes: every pass, every member kind (BTC conversion,
// vertex text, panorama re-packing) with outputs aimed at a folder that does not exist, so
// that all the work is done but nothing is written. Also checks that the 8:1 inflation
// gives zlib uncompress's verdict and bytes on the input taken as one chunk.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/extract_course.h"
#include "archive/member_inflate.h"
#include "silent_host.h"

namespace {

// zlib's uncompress verdict on `data` with `capacity` bytes of room, by hand so that the
// reason of a failure is known: nullopt on success, else zlib's message.
std::optional<std::string> zlibFailure(const std::uint8_t* data, std::size_t size, std::vector<std::uint8_t>& out,
                                       std::size_t& length) {
  z_stream s{};
  if (inflateInit(&s) != Z_OK) std::abort();
  s.next_in = const_cast<Bytef*>(data);
  s.avail_in = static_cast<uInt>(size);
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  int status;
  do status = inflate(&s, Z_NO_FLUSH);
  while (status == Z_OK);
  length = s.total_out;
  std::optional<std::string> failure;
  if (status != Z_STREAM_END) failure = s.msg ? s.msg : "no message";
  inflateEnd(&s);
  return failure;
}

void checkInflationAgreesWithZlib(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > (1u << 16)) return;
  const std::size_t capacity = 8 * size;
  std::vector<std::uint8_t> expected(capacity);
  std::size_t length = 0;
  const auto failure = zlibFailure(data, size, expected, length);
  vellmark::InflateScratch scratch;
  // A small direct limit makes the grow-as-needed path run as well.
  const auto ours = vellmark::inflateChunk({data, size}, capacity, scratch, size % 2 ? 1 : capacity);
  if (ours && !failure) {
    if (ours->size() != length || std::memcmp(ours->data(), expected.data(), length) != 0) std::abort();
    return;
  }
  if (!ours && failure) return;
  // The one documented difference: libdeflate accepts reserved codes that zlib rejects.
  const bool reserved = failure && (*failure == "invalid literal/length code" || *failure == "invalid distance code" ||
                                    *failure == "too many length or distance symbols");
  if (!(ours && reserved && vellmark::inflateAcceptsReservedCodes())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exactly sized copy, so that AddressSanitizer catches a read past the end.
  auto copy = std::make_unique<std::uint8_t[]>(size ? size : 1);
  if (size) std::memcpy(copy.get(), data, size);
  vellmark::test::SilentHost host;
  try {
    (void)vellmark::extractCourse(host, {copy.get(), size}, "/nonexistent-vellmark-fuzz/out_", size % 5 == 0 ? 2 : 1);
  } catch (const vellmark::Error&) {
    // Unusable input is an Error, never a crash.
  }
  checkInflationAgreesWithZlib(copy.get(), size);
  return 0;
}
