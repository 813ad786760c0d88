#include "archive/member_search.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "archive/member_inflate.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

// zlib's own verdict: uncompress into a destination of exactly `capacity` bytes.
std::optional<std::vector<std::uint8_t>> zlibUncompress(const std::vector<std::uint8_t>& chunk, std::size_t capacity) {
  std::vector<std::uint8_t> out(std::max<std::size_t>(capacity, 1));
  uLongf length = static_cast<uLongf>(capacity);
  if (uncompress(out.data(), &length, chunk.data(), static_cast<uLong>(chunk.size())) != Z_OK) return std::nullopt;
  out.resize(length);
  return out;
}

std::optional<std::vector<std::uint8_t>> ours(const std::vector<std::uint8_t>& chunk, std::uint64_t capacity,
                                              std::size_t directLimit) {
  InflateScratch scratch;
  auto exact = std::make_unique<std::uint8_t[]>(chunk.size());  // an exactly sized block for ASan
  std::copy(chunk.begin(), chunk.end(), exact.get());
  auto result = inflateChunk(Bytes(exact.get(), chunk.size()), capacity, scratch, directLimit);
  if (!result) return std::nullopt;
  return std::vector<std::uint8_t>(result->begin(), result->end());
}

}  // namespace

TEST(MemberSearch, SignatureNeedsBothBytesInsideTheData) {
  EXPECT_EQ(findZlibSignature(bytes({1, 0x78, 0x9C, 0x78, 0x9C}), 0), 1u);
  EXPECT_EQ(findZlibSignature(bytes({1, 0x78, 0x9C, 0x78, 0x9C}), 2), 3u);
  EXPECT_EQ(findZlibSignature(bytes({0x9C, 0x78, 0x00, 0x78}), 0), 4u);  // a final 0x78 is not one
  EXPECT_EQ(findZlibSignature({}, 0), 0u);
  EXPECT_EQ(findZlibSignature(bytes({0x78, 0x9C}), 5), 2u);
}

TEST(MemberSearch, ChunksRunFromSignatureToSignatureAfterTheHeader) {
  // Signatures inside the 16-byte header are never seen; the last chunk runs to the end.
  auto data = bytes({0x78, 0x9C, 0, 0, 0x78, 0x9C, 0, 0, 0, 0, 0, 0, 0, 0, 0x78, 0x9C,  //
                     7, 0x78, 0x9C, 1, 2, 0x78, 0x9C, 3, 0x78});
  EXPECT_EQ(findMemberChunks(data), (std::vector<MemberChunk>{{17, 21}, {21, 25}}));

  // A signature straddling offset 16 starts at 15 and is not seen either.
  data[15] = 0x78;
  data[16] = 0x9C;
  data[17] = 0;
  EXPECT_EQ(findMemberChunks(data), (std::vector<MemberChunk>{{21, 25}}));

  // No signature at or after 16: one pass over the whole buffer, then the search is done.
  std::vector<std::uint8_t> none(40, 0);
  none[3] = 0x78;
  none[4] = 0x9C;
  none[39] = 0x78;
  EXPECT_EQ(findMemberChunks(none), (std::vector<MemberChunk>{{0, 40}}));
  // Nothing past the header: no pass does anything.
  EXPECT_TRUE(findMemberChunks(std::vector<std::uint8_t>(16, 0)).empty());
  EXPECT_TRUE(findMemberChunks(bytes({0x78, 0x9C})).empty());
}

TEST(MemberSearch, StopsAfterPass2499) {
  std::vector<std::uint8_t> data(16, 0);
  for (int i = 0; i < 2600; ++i) data.insert(data.end(), {0x78, 0x9C, 1});
  auto chunks = findMemberChunks(data);
  ASSERT_EQ(chunks.size(), 2500u);
  EXPECT_EQ(chunks.front(), (MemberChunk{16, 19}));
  EXPECT_EQ(chunks.back(), (MemberChunk{16 + 2499 * 3, 16 + 2500 * 3}));
}

// The inflation must succeed and fail exactly where zlib's uncompress does, with the same
// bytes, including trailing bytes after the stream, cut streams, corrupted bytes and
// dictionaries; both the reserve-in-advance and the grow-as-needed paths.
TEST(MemberInflate, AgreesWithUncompressEverywhere) {
  std::mt19937 rng(7);
  std::vector<std::vector<std::uint8_t>> chunks;
  for (std::size_t size : {0u, 1u, 100u, 5000u, 70000u}) {
    auto content = patternPixels(static_cast<int>(size / 4 + 1), 1, static_cast<std::uint32_t>(size));
    content.resize(size);
    for (std::size_t i = 0; i < size; i += 7) content[i] = 0;  // somewhat compressible
    for (int level : {0, 1, 6, 9}) {
      auto c = zlibCompress(content, level);
      chunks.push_back(c);
      auto trailing = c;
      trailing.insert(trailing.end(), {0x78, 0x9C, 0xFF, 0});
      chunks.push_back(trailing);
      chunks.push_back(std::vector<std::uint8_t>(c.begin(), c.end() - 1));  // adler cut
      if (c.size() > 10) chunks.push_back(std::vector<std::uint8_t>(c.begin(), c.begin() + c.size() / 2));
      for (int k = 0; k < 6; ++k) {
        auto bad = c;
        bad[rng() % bad.size()] ^= static_cast<std::uint8_t>(1 + rng() % 255);
        chunks.push_back(bad);
      }
    }
  }
  // A header that asks for a preset dictionary (FDICT set), and headers that are not zlib's.
  chunks.push_back(bytes({0x78, 0xBB, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1}));
  chunks.push_back(bytes({0x78, 0x9C}));
  chunks.push_back(bytes({0x78, 0x9D, 3, 0, 0, 0, 0, 1}));
  chunks.push_back(bytes({0x08, 0x1D, 3, 0, 0, 0, 0, 1}));  // a valid small-window header

  int successes = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const auto& chunk = chunks[i];
    std::vector<std::uint64_t> capacities = {8 * chunk.size()};
    if (auto full = zlibUncompress(chunk, 1 << 20)) {
      capacities.push_back(full->size() + 1);
      if (full->size() > 1) capacities.insert(capacities.end(), {full->size(), full->size() - 1});
    }
    for (std::uint64_t capacity : capacities) {
      auto expected = zlibUncompress(chunk, static_cast<std::size_t>(capacity));
      successes += expected.has_value();
      for (std::size_t limit : {std::size_t{1}, std::size_t{3}, std::size_t{64} << 20})
        EXPECT_EQ(ours(chunk, capacity, limit), expected) << "chunk " << i << " capacity " << capacity << " limit " << limit;
    }
  }
  EXPECT_GT(successes, 40);  // the table exercises both outcomes
}

// Streams no compressor writes: a fixed-code block using the reserved length code 286 or
// distance code 30. zlib rejects them; the libdeflate build accepts them (its documented
// difference), the zlib build keeps zlib's verdict.
TEST(MemberInflate, ReservedCodesAreTheOneDifference) {
  struct Bits {
    std::vector<std::uint8_t> bytes;
    int n = 0;
    void put(std::uint32_t v, int count) {  // least significant bit first
      for (int i = 0; i < count; ++i, ++n) {
        if (n % 8 == 0) bytes.push_back(0);
        if ((v >> i) & 1) bytes.back() |= static_cast<std::uint8_t>(1 << (n % 8));
      }
    }
    void code(std::uint32_t c, int length) {  // Huffman codes go most significant bit first
      for (int i = length - 1; i >= 0; --i) put((c >> i) & 1, 1);
    }
    void fixed(int symbol) {
      if (symbol < 144) code(0x30 + symbol, 8);
      else if (symbol < 256) code(0x190 + symbol - 144, 9);
      else if (symbol < 280) code(symbol - 256, 7);
      else code(0xC0 + symbol - 280, 8);
    }
  };
  auto stream = [](int lengthSymbol, int distanceSymbol, int extraBits, std::size_t produced) {
    Bits b;
    b.put(1, 1);
    b.put(1, 2);
    for (int i = 0; i < 300; ++i) b.fixed('a');
    b.fixed(lengthSymbol);
    b.code(static_cast<std::uint32_t>(distanceSymbol), 5);
    b.put(0, extraBits);
    b.fixed(256);
    std::vector<std::uint8_t> z = {0x78, 0x9C};
    z.insert(z.end(), b.bytes.begin(), b.bytes.end());
    const std::vector<std::uint8_t> out(produced, 'a');
    const auto check = adler32(1, out.data(), static_cast<uInt>(out.size()));
    for (int i = 3; i >= 0; --i) z.push_back(static_cast<std::uint8_t>(check >> (8 * i)));
    return z;
  };
  const auto valid = stream(285, 0, 0, 558);        // length 258, distance 1
  const auto reservedLength = stream(286, 0, 0, 558);
  const auto reservedDistance = stream(257, 30, 13, 303);  // the 300 bytes cannot reach that far
  ASSERT_TRUE(zlibUncompress(valid, 8 * valid.size()));
  EXPECT_EQ(ours(valid, 8 * valid.size(), 64 << 20), zlibUncompress(valid, 8 * valid.size()));
  ASSERT_FALSE(zlibUncompress(reservedLength, 8 * reservedLength.size()));
  for (std::size_t limit : {std::size_t{1}, std::size_t{64} << 20}) {
    // The grow-as-needed path is zlib's alone.
    const bool lenient = inflateAcceptsReservedCodes() && limit > 1;
    EXPECT_EQ(ours(reservedLength, 8 * reservedLength.size(), limit).has_value(), lenient) << limit;
    // A reserved distance that reaches before the output is an error for both.
    EXPECT_FALSE(ours(reservedDistance, 8 * reservedDistance.size(), limit)) << limit;
  }
}
