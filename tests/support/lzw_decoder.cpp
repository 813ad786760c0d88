#include "support/lzw_decoder.h"

#include <stdexcept>
#include <string>

namespace vellmark::test {

int BitReader::read(int bits) {
  if (position_ + bits > 8 * bytes_.size()) return -1;
  int value = 0;
  for (int i = 0; i < bits; ++i, ++position_) value |= ((bytes_[position_ / 8] >> (position_ % 8)) & 1) << i;
  return value;
}

// A plain LZW decoder. Its table is one entry behind the encoder's, so codes widen once the
// table holds 2^width entries: the encoder widens after the code it emits at that point.
Decoded lzwDecode(const std::vector<std::uint8_t>& stream) {
  Decoded out;
  BitReader in(stream);
  std::vector<std::vector<std::uint8_t>> table;
  auto reset = [&] {
    table.assign(258, {});
    for (int i = 0; i < 256; ++i) table[i] = {static_cast<std::uint8_t>(i)};
  };
  reset();
  int width = 9;
  std::vector<std::uint8_t> previous;
  bool havePrevious = false;
  for (;;) {
    const int code = in.read(width);
    if (code < 0) throw std::runtime_error("stream ends without the end code");
    out.codes.push_back({code, width});
    if (code == 257) break;
    if (code == 256) {
      reset();
      width = 9;
      havePrevious = false;
      continue;
    }
    std::vector<std::uint8_t> entry;
    if (code < static_cast<int>(table.size())) {
      entry = table[code];
    } else if (code == static_cast<int>(table.size()) && havePrevious) {
      entry = previous;
      entry.push_back(previous[0]);
    } else {
      throw std::runtime_error("code " + std::to_string(code) + " not in the dictionary");
    }
    if (havePrevious && table.size() < 8192) {
      auto added = previous;
      added.push_back(entry[0]);
      table.push_back(added);
    }
    out.bytes.insert(out.bytes.end(), entry.begin(), entry.end());
    previous = entry;
    havePrevious = true;
    if (width < 13 && table.size() >= (1u << width)) ++width;
  }
  out.bitsUsed = in.position();
  return out;
}

}  // namespace vellmark::test
