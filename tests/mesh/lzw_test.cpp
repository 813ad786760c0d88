// The coder against a decoder written from the stream's rules: codes of 9 to 13 bits, least
// significant bit first, clear 256, end 257. Which matches the coder finds shows only in the
// bytes, which the .MAP files pinned in the mesh tool's tests fix.
#include "mesh/lzw.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// A plain decoder. Its table is one entry behind the coder's, so codes widen once the table
// holds 2^width entries. Returns the bytes, and in `bitsUsed` where the end code ends.
std::vector<std::uint8_t> lzwDecode(const std::vector<std::uint8_t>& stream, std::size_t& bitsUsed) {
  std::vector<std::uint8_t> out, previous;
  std::vector<std::vector<std::uint8_t>> table;
  std::size_t position = 0;
  const auto read = [&](int bits) {  // -1 past the end
    int value = position + bits > 8 * stream.size() ? -1 : 0;
    for (int i = 0; i < bits && value >= 0; ++i, ++position) value |= ((stream[position / 8] >> (position % 8)) & 1) << i;
    return value;
  };
  int width = 9;
  for (int code = 256; code != 257; code = read(width)) {
    if (code == 256) {
      table.assign(258, {});
      for (int i = 0; i < 256; ++i) table[i] = {static_cast<std::uint8_t>(i)};
      width = 9;
      previous.clear();
      continue;
    }
    if (code < 0 || code > static_cast<int>(table.size()) || (code == static_cast<int>(table.size()) && previous.empty()))
      throw std::runtime_error("bad code " + std::to_string(code));
    std::vector<std::uint8_t> entry = code < static_cast<int>(table.size()) ? table[code] : previous;
    if (code == static_cast<int>(table.size())) entry.push_back(previous[0]);
    if (!previous.empty() && table.size() < 8192) table.push_back(previous), table.back().push_back(entry[0]);
    out.insert(out.end(), entry.begin(), entry.end());
    previous = entry;
    if (width < 13 && table.size() >= (1u << width)) ++width;
  }
  bitsUsed = position;
  return out;
}

}  // namespace

TEST(Lzw, EmptyInputAndOneByteAtNineBits) {
  EXPECT_EQ(lzwCompress({}), bytes({0x00, 0x03, 0x02}));  // clear, end
  const std::uint8_t a = 0x41;  // 256, 65, 257 at 9 bits each
  EXPECT_EQ(lzwCompress(Bytes(&a, 1)), bytes({0x00, 0x83, 0x04, 0x04}));
}

TEST(Lzw, RoundTripsRandomRealAndRepetitiveData) {
  const auto random = patternPixels(300, 300, 11);  // 360,000 bytes: many dictionary fills
  std::vector<std::uint8_t> lowEntropy(random.size());
  for (std::size_t i = 0; i < random.size(); ++i) lowEntropy[i] = random[i] % 3;
  for (const auto& input : {random, lowEntropy, std::vector<std::uint8_t>(100000, 7),  // long runs: KwKwK
                            loadData("textures/fabric_check_128x128_cm8.tga")}) {
    const auto stream = lzwCompress(input);
    std::size_t bits = 0;
    EXPECT_EQ(lzwDecode(stream, bits), input);
    EXPECT_EQ((bits + 7) / 8, stream.size()) << "nothing after the end code";
  }
}

// The coder writes chunks of 255 bytes; the put or end whose chunk is taken short fails.
TEST(Lzw, WritesChunksOf255BytesAndReportsAShortOne) {
  struct Sink : ByteSink {
    std::vector<std::size_t> sizes;
    std::size_t shortChunk = 0;  // 1-based; 0 for none
    std::size_t write(const std::uint8_t*, std::size_t size) override { return sizes.push_back(size), size - (sizes.size() == shortChunk); }
  };
  const auto input = patternPixels(40, 40, 2);
  const auto run = [&](std::size_t shortChunk) {
    Sink sink;
    sink.shortChunk = shortChunk;
    LzwEncoder encoder(sink);
    std::size_t accepted = 0;
    while (accepted < input.size() && encoder.put(input[accepted])) ++accepted;
    const bool ended = encoder.end();
    return std::tuple(sink.sizes, accepted, ended);
  };
  const auto [sizes, all, ended] = run(0);
  ASSERT_TRUE(ended && all == input.size() && sizes.size() >= 3);
  EXPECT_EQ(std::vector<std::size_t>(sizes.begin(), sizes.end() - 1), std::vector<std::size_t>(sizes.size() - 1, 255));
  EXPECT_EQ(run(2), std::tuple(std::vector<std::size_t>{255, 255}, std::get<1>(run(2)), false));
  EXPECT_LT(std::get<1>(run(2)), input.size());
  EXPECT_EQ(run(sizes.size()), std::tuple(sizes, input.size(), false));
}
