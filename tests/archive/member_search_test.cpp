#include "archive/member_search.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "archive/extraction_plan.h"
#include "archive/member_kind.h"
#include "archive/vertex_list.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using ByteVector = std::vector<std::uint8_t>;
using Chunks = std::vector<MemberChunk>;

std::optional<ByteVector> zlibUncompress(const ByteVector& chunk, std::size_t capacity) {
  ByteVector out(std::max<std::size_t>(capacity, 1));
  uLongf length = static_cast<uLongf>(capacity);
  if (uncompress(out.data(), &length, chunk.data(), static_cast<uLong>(chunk.size())) != Z_OK) return std::nullopt;
  out.resize(length);
  return out;
}

// On a heap block of exactly the chunk's size, so that ASan sees an overread.
std::optional<ByteVector> ours(const ByteVector& chunk, std::uint64_t capacity, std::size_t directLimit) {
  InflateScratch scratch;
  auto exact = std::make_unique<std::uint8_t[]>(chunk.size());
  std::copy(chunk.begin(), chunk.end(), exact.get());
  const auto result = inflateChunk(Bytes(exact.get(), chunk.size()), capacity, scratch, directLimit);
  return result ? std::optional(ByteVector(result->begin(), result->end())) : std::nullopt;
}

ByteVector withHeader(std::initializer_list<int> header, std::initializer_list<int> rest) {
  auto out = bytes(header), tail = bytes(rest);
  out.resize(16, 0);
  out.insert(out.end(), tail.begin(), tail.end());
  return out;
}

ByteVector vertexList(std::uint32_t countWord, const std::vector<float>& coordinates) {
  ByteVector v = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  v.resize(40 + 4 * coordinates.size(), 0);
  putU32(v, 16, countWord);
  std::memcpy(&v[40], coordinates.data(), 4 * coordinates.size());
  return v;
}

}  // namespace

TEST(MemberSearch, SignaturesAndChunks) {
  EXPECT_EQ(findZlibSignature(bytes({1, 0x78, 0x9C, 0x78, 0x9C}), 2), 3u);
  EXPECT_EQ(findZlibSignature(bytes({0x9C, 0x78, 0x00, 0x78}), 0), 4u);  // a final 0x78 is not one
  const std::pair<ByteVector, Chunks> cases[] = {
      {withHeader({}, {7, 0x78, 0x9C, 1, 2, 0x78, 0x9C, 3, 0x78}), {{17, 21}, {21, 25}}},
      {withHeader({}, {0x78, 0x9C, 1}), {{16, 19}}},
      {withHeader({0x78, 0x9C, 0, 0x78, 0x9C}, {1, 0x78, 0x9C}), {{17, 19}}},
      {withHeader({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x78}, {0x9C, 0}), {{0, 18}}},  // straddles 16
      {withHeader({0x78, 0x9C}, {0, 0x78}), {{0, 18}}},
      {withHeader({0x78, 0x9C}, {}), {}},
      {bytes({0x78, 0x9C}), {}},
  };
  for (const auto& [data, chunks] : cases) EXPECT_EQ(findMemberChunks(data), chunks) << data.size();

  ByteVector many(16, 0);
  for (int i = 0; i < 2600; ++i) many.insert(many.end(), {0x78, 0x9C, 1});
  const auto chunks = findMemberChunks(many);
  ASSERT_EQ(chunks.size(), 2500u);  // passes 0-2499
  EXPECT_EQ(chunks.back(), (MemberChunk{16 + 2499 * 3, 16 + 2500 * 3}));
}

// The first test that holds decides the kind (what each kind becomes is the extraction's
// business, pinned there). A tag cut short is no tag.
TEST(ExtractionPlan, TheFirstTagThatHoldsDecides) {
  const std::tuple<ByteVector, MemberKind, bool> cases[] = {  // then every shorter prefix is Unknown
      {bytes({0, 0, 2, 0}), MemberKind::Tga, true},
      {bytes({'R', 'I', 'F', 'F'}), MemberKind::Wav, true},
      {bytes({'B', 'T', 'C', 'V'}), MemberKind::Btc, true},
      {bytes({'n', 'a', 'p', 0}), MemberKind::Pan, true},
      {bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'}), MemberKind::Jpg, true},
      {bytes({2, 0, 0, 0, 2, 0, 0, 0}), MemberKind::Vrt, true},
      {bytes({'n', 'a', 'p', 1}), MemberKind::Unknown, false},
      {bytes({2, 0, 0, 0, 3, 0, 0, 0}), MemberKind::Unknown, false},
      {bytes({0, 0, 2, 0, 0, 0, 'J', 'F', 'I', 'F'}), MemberKind::Tga, false},
      {loadData("textures/fabric_check_128x128_cm8.tga"), MemberKind::Unknown, false},  // colour-mapped
  };
  for (const auto& [data, kind, tagEndsTheData] : cases) {
    EXPECT_EQ(classifyMember(data), kind) << memberKindName(kind);
    for (std::size_t n = 0; tagEndsTheData && n < data.size(); ++n) {
      auto block = std::make_unique<std::uint8_t[]>(n);  // exactly sized, for ASan
      for (std::size_t i = 0; i < n; ++i) block[i] = data[i];
      EXPECT_EQ(classifyMember({block.get(), n}), MemberKind::Unknown) << memberKindName(kind) << " " << n;
    }
  }
  EXPECT_EQ(planExtractedMember(vertexList(0, {7, 8, 9, 10}), "", 0).vertexText, "7,8,9\n");
  EXPECT_EQ(vertexListText(vertexList(0xFFFFFFFFu, {1, 2, 3})), "");  // the count plus one wraps to 0
}

// A pass's member is its chunk inflated within eight times the chunk's length; the
// whole-buffer pass never yields one, not even from a zlib stream at offset 0.
TEST(MemberSearch, PassChunksInflateWithinEightToOne) {
  const std::size_t size = 8000;
  ByteVector archive(16, 0);
  for (std::size_t n : {size, size + 1}) {
    auto stream = zlibCompress(ByteVector(n, 'z'));
    ASSERT_LT(stream.size(), size / 8);
    stream.resize(size / 8, 0);  // zero padding up to the next signature holds none
    archive.insert(archive.end(), stream.begin(), stream.end());
  }
  const auto chunks = findMemberChunks(archive);
  ASSERT_EQ(chunks, (Chunks{{16, 16 + size / 8}, {16 + size / 8, 16 + size / 4}}));
  InflateScratch scratch;
  const auto fits = inflatePassChunk(archive, chunks[0], scratch);
  EXPECT_EQ(fits ? fits->size() : 0, size);
  EXPECT_FALSE(inflatePassChunk(archive, chunks[1], scratch));

  auto leading = zlibCompress(ByteVector(100, 'z'));
  leading.resize(leading.size() + 20, 0);
  ASSERT_TRUE(inflateChunk(leading, 8 * leading.size(), scratch));
  EXPECT_FALSE(inflatePassChunk(leading, {0, leading.size()}, scratch));
}

// Inflation succeeds and fails exactly where zlib's uncompress does, with the same bytes:
// trailing bytes after the stream, cut streams, corrupted bytes and dictionaries, on both
// the reserve-in-advance and the grow-as-needed paths.
TEST(MemberInflate, AgreesWithUncompressEverywhere) {
  std::vector<ByteVector> chunks = {
      bytes({0x78, 0xBB, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1}),  // asks for a preset dictionary
      bytes({0x78, 0x9C}), bytes({0x78, 0x9D, 3, 0, 0, 0, 0, 1}), bytes({0x08, 0x1D, 3, 0, 0, 0, 0, 1})};
  for (std::size_t size : {0u, 100u, 5000u, 70000u})
    for (int level : {0, 6, 9}) {
      auto content = patternPixels(static_cast<int>(size / 4 + 1), 1, static_cast<std::uint32_t>(size));
      content.resize(size);
      for (std::size_t i = 0; i < size; i += 7) content[i] = 0;  // somewhat compressible
      const auto c = zlibCompress(content, level);
      ByteVector trailing = c, flipped = c;
      trailing.insert(trailing.end(), {0x78, 0x9C, 0xFF, 0});
      flipped[c.size() / 3] ^= 0x5A;
      chunks.insert(chunks.end(), {c, trailing, flipped, ByteVector(c.begin(), c.end() - 1),
                                   ByteVector(c.begin(), c.begin() + static_cast<std::ptrdiff_t>(c.size() / 2))});
    }
  int successes = 0;
  for (const auto& chunk : chunks) {
    std::vector<std::uint64_t> capacities = {8 * chunk.size()};
    if (const auto full = zlibUncompress(chunk, 1 << 20)) {  // zlib alone succeeds on no room: skip 0
      capacities.push_back(full->size() + 1);
      if (full->size() > 1) capacities.insert(capacities.end(), {full->size(), full->size() - 1});
    }
    for (std::uint64_t capacity : capacities) {
      const auto expected = zlibUncompress(chunk, static_cast<std::size_t>(capacity));
      successes += expected.has_value();
      for (std::size_t limit : {std::size_t{1}, std::size_t{3}, std::size_t{64} << 20})
        EXPECT_EQ(ours(chunk, capacity, limit), expected) << chunk.size() << " " << capacity << " " << limit;
    }
  }
  EXPECT_GT(successes, 30);
}
