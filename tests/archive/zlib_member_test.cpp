#include "archive/zlib_member.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

// Inflating into memory that grows gives zlib's uncompress verdict into the whole declared
// buffer: the same status, length and bytes, at every capacity around the true size.
TEST(ZlibMember, BoundedInflationGivesUncompressVerdicts) {
  std::vector<std::uint8_t> large(3 << 20);  // past the first block, so the buffer grows
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<std::uint8_t>(i % 251 ^ i >> 12);
  auto trailing = zlibCompress({1, 2, 3}), cut = zlibCompress(large);
  trailing.insert(trailing.end(), {9, 9, 9});
  cut.resize(cut.size() / 2);
  const std::pair<std::vector<std::uint8_t>, std::size_t> streams[] = {
      {zlibCompress(large), large.size()}, {zlibCompress({}), 0}, {trailing, 3}, {cut, large.size()},
      {bytes({0x78, 0xBB, 0, 0, 0, 1}), 6} /* wants a dictionary */, {bytes({0x78, 0x9C, 0xFF, 0xFF}), 100}, {{}, 0}};
  for (const auto& [stream, size] : streams)
    for (std::size_t capacity : {std::size_t{0}, size - (size > 0), size, size + 1, size + (5 << 20)}) {
      const auto whole = inflateMember(stream, capacity), bounded = inflateBounded(stream, capacity);
      EXPECT_EQ(bounded.status, whole.status) << stream.size() << " into " << capacity;
      ASSERT_EQ(bounded.length, whole.length) << stream.size() << " into " << capacity;
      EXPECT_TRUE(std::equal(bounded.buffer.begin(), bounded.buffer.end(), whole.buffer.begin(), whole.buffer.begin() + whole.length));
      EXPECT_EQ(bounded.buffer.size(), bounded.length);
      EXPECT_EQ(std::count(whole.buffer.begin() + whole.length, whole.buffer.end(), 0), capacity - whole.length);
    }
}

// Compressing from pieces gives compress's bytes however the pieces fall: one byte at a time,
// odd sizes across zlib's window, the whole at once; a source that stops short is an error.
TEST(ZlibMember, CompressingFromPiecesGivesCompressBytes) {
  std::vector<std::uint8_t> mixed(300000);
  std::uint32_t state = 7;
  for (std::size_t i = 0; i < mixed.size(); ++i) {
    state = state * 1103515245u + 12345u;
    mixed[i] = i < 150000 ? static_cast<std::uint8_t>(state >> 24) : static_cast<std::uint8_t>(i % 97);
  }
  for (std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{4096}, mixed.size()})
    for (std::size_t pieceLimit : {std::size_t{1}, std::size_t{32771}, std::size_t{1} << 22}) {
      if (pieceLimit == 1 && size > 4096) continue;
      std::size_t at = 0;
      const auto pieces = compressMemberFrom(static_cast<std::uint32_t>(size), [&](std::uint8_t* buffer, std::size_t n) {
        n = std::min({n, pieceLimit, size - at});
        std::copy_n(mixed.begin() + at, n, buffer);
        at += n;
        return n;
      });
      EXPECT_EQ(pieces, compressMember({mixed.data(), size})) << size << " in pieces of " << pieceLimit;
    }
  EXPECT_THROW(compressMemberFrom(10, [](std::uint8_t*, std::size_t) { return std::size_t{0}; }), Error);
}
