// gzip-wrapped test data, inflated whole: shared by the tests and the benchmarks, which do not
// link the test support library.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vellmark::test {

inline std::vector<std::uint8_t> gunzip(const std::vector<std::uint8_t>& raw, const std::string& what) {
  z_stream s{};
  if (inflateInit2(&s, 16 + MAX_WBITS) != Z_OK) throw std::runtime_error("inflateInit2");
  std::vector<std::uint8_t> out(raw.size() * 4 + 1024);
  s.next_in = const_cast<std::uint8_t*>(raw.data());
  s.avail_in = static_cast<uInt>(raw.size());
  int rc;
  do {
    if (s.total_out == out.size()) out.resize(out.size() * 2);
    s.next_out = out.data() + s.total_out;
    s.avail_out = static_cast<uInt>(out.size() - s.total_out);
    rc = inflate(&s, Z_NO_FLUSH);
  } while (rc == Z_OK);
  out.resize(s.total_out);
  inflateEnd(&s);
  if (rc != Z_STREAM_END) throw std::runtime_error("bad gzip data in " + what);
  return out;
}

}  // namespace vellmark::test
