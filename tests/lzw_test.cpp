// The LZW coder against a decoder written here from the stream's rules (codes of 9 to 13
// bits, LSB first, clear 256, end 257, the width growing one code late), and against
// hand-computed bit layouts.
#include "mesh/lzw.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/lzw_decoder.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

RecordingHost& host() {
  static RecordingHost h;
  return h;
}

// Bytes in which no pair of neighbours repeats: every byte after the first makes a new
// dictionary string, so every put emits exactly one single-byte code.
std::vector<std::uint8_t> distinctPairs(std::size_t length) {
  std::vector<std::uint8_t> out = {0};
  std::set<std::pair<int, int>> used;
  while (out.size() < length) {
    int next = -1;
    for (int c = 0; c < 256 && next < 0; ++c)
      if (!used.count({out.back(), (out.back() + 1 + c) % 256})) next = (out.back() + 1 + c) % 256;
    if (next < 0) break;
    used.insert({out.back(), next});
    out.push_back(static_cast<std::uint8_t>(next));
  }
  return out;
}

}  // namespace

TEST(Lzw, EmptyInputAndOneByteAtNineBits) {
  EXPECT_EQ(lzwCompress({}, host()), (std::vector<std::uint8_t>{0x00, 0x03, 0x02}));  // clear, end
  // 256, 65, 257 at 9 bits: bits 0-8 = 256, 9-17 = 65, 18-26 = 257.
  const std::uint8_t a = 0x41;
  EXPECT_EQ(lzwCompress(Bytes(&a, 1), host()), (std::vector<std::uint8_t>{0x00, 0x83, 0x04, 0x04}));
}

TEST(Lzw, RoundTripsRandomRealAndRepetitiveData) {
  std::vector<std::vector<std::uint8_t>> inputs;
  auto random = patternPixels(300, 300, 11);  // 360,000 random bytes: many dictionary fills
  inputs.push_back(random);
  std::vector<std::uint8_t> lowEntropy(random.size());
  for (std::size_t i = 0; i < random.size(); ++i) lowEntropy[i] = random[i] % 3;
  inputs.push_back(lowEntropy);
  inputs.push_back(std::vector<std::uint8_t>(100000, 7));  // long runs: the KwKwK case
  inputs.push_back(loadData("textures/fabric_check_128x128_cm8.tga"));
  inputs.push_back(loadData("xfiles/assimp/test_cube_text.x"));
  for (const auto& input : inputs) {
    auto stream = lzwCompress(input, host());
    auto decoded = lzwDecode(stream);
    EXPECT_EQ(decoded.bytes, input);
    EXPECT_EQ((decoded.bitsUsed + 7) / 8, stream.size());  // nothing after the end code
  }
}

TEST(Lzw, WidthGrowsOneCodeLateAndTheClearComesAtThirteenBits) {
  const auto input = distinctPairs(9000);
  ASSERT_EQ(input.size(), 9000u);
  auto stream = lzwCompress(input, host());
  // Code j (1-based after the first clear) is emitted while nextCode is 257 + j, and is one
  // bit wider only after the code emitted at nextCode 512, 1024, 2048 or 4096.
  BitReader in(stream);
  ASSERT_EQ(in.read(9), 256);
  for (int j = 1; j <= 7935; ++j) {
    const int width = j <= 255 ? 9 : j <= 767 ? 10 : j <= 1791 ? 11 : j <= 3839 ? 12 : 13;
    ASSERT_EQ(in.read(width), input[j - 1]) << "code " << j;
  }
  // nextCode reached 8192: the clear follows at 13 bits, then codes are 9 bits again.
  EXPECT_EQ(in.read(13), 256);
  for (int j = 7936; j < 7936 + 255; ++j) ASSERT_EQ(in.read(9), input[j - 1]) << "code " << j;
  EXPECT_EQ(in.read(10), input[7936 + 255 - 1]);
  EXPECT_EQ(lzwDecode(stream).bytes, input);
}

TEST(Lzw, FailedWriteEndsTheProcess) {
  struct ShortSink : ByteSink {
    std::size_t write(const std::uint8_t*, std::size_t size) override { return size - 1; }
  } sink;
  RecordingHost h;
  LzwEncoder encoder(sink, h);
  for (int i = 0; i < 100; ++i) encoder.put(static_cast<std::uint8_t>(i));  // no full chunk yet
  try {
    encoder.end();
    FAIL() << "the short write was not noticed";
  } catch (const ProcessExit& e) {
    EXPECT_EQ(e.status, 1);
  }
  EXPECT_EQ(h.printed, "Output file write error");
}

TEST(Lzw, WritesInChunksOf255Bytes) {
  struct ChunkSink : ByteSink {
    std::vector<std::size_t> sizes;
    std::size_t write(const std::uint8_t*, std::size_t size) override {
      sizes.push_back(size);
      return size;
    }
  } sink;
  LzwEncoder encoder(sink, host());
  auto input = patternPixels(40, 40, 2);
  for (auto b : input) encoder.put(b);
  encoder.end();
  ASSERT_GE(sink.sizes.size(), 2u);
  for (std::size_t i = 0; i + 1 < sink.sizes.size(); ++i) EXPECT_EQ(sink.sizes[i], 255u);
  EXPECT_LE(sink.sizes.back(), 255u);
}
