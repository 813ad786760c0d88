#include "archive/member_search.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <tuple>

#include "archive/extraction_plan.h"
#include "archive/member_kind.h"
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
  return out.resize(length), out;
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
  return out.insert(out.end(), tail.begin(), tail.end()), out;
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

// The first tag that holds decides the kind; a tag cut short is no tag.
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
  auto vertices = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  vertices.resize(52, 0x40);
  putU32(vertices, 16, 0xFFFFFFFFu);
  EXPECT_EQ(planExtractedMember(vertices, "", 0).vertexText, "");  // the count plus one wraps to 0
}

// The whole-buffer pass never yields a member, not even from a zlib stream at offset 0.
TEST(MemberSearch, PassChunksInflateWithinEightToOne) {
  ByteVector archive(16, 0);
  for (std::size_t n : {8000, 8001}) {  // each padded to a 1000-byte chunk
    auto stream = zlibCompress(ByteVector(n, 'z'));
    stream.resize(1000, 0);
    archive.insert(archive.end(), stream.begin(), stream.end());
  }
  InflateScratch scratch;
  const auto fits = inflatePassChunk(archive, {16, 1016}, scratch);
  EXPECT_EQ(fits ? fits->size() : 0, 8000u);
  EXPECT_FALSE(inflatePassChunk(archive, {1016, 2016}, scratch));

  auto leading = zlibCompress(ByteVector(100, 'z'));
  leading.resize(leading.size() + 20, 0);
  ASSERT_TRUE(inflateChunk(leading, 8 * leading.size(), scratch));
  EXPECT_FALSE(inflatePassChunk(leading, {0, leading.size()}, scratch));
}

// Inflation agrees with zlib's uncompress on both the reserve-in-advance and grow-as-needed paths.
TEST(MemberInflate, AgreesWithUncompressEverywhere) {
  std::vector<ByteVector> chunks = {
      bytes({0x78, 0xBB, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1}),  // asks for a preset dictionary
      bytes({0x78, 0x9C}), bytes({0x78, 0x9D, 3, 0, 0, 0, 0, 1}), bytes({0x08, 0x1D, 3, 0, 0, 0, 0, 1})};
  for (std::size_t size : {0u, 100u, 5000u, 70000u})
    for (int level : {0, 6, 9}) {
      ByteVector content(size);  // somewhat compressible
      for (std::size_t i = 0; i < size; ++i) content[i] = i % 7 ? std::uint8_t((i * 2654435761u) >> 13) : 0;
      const auto c = zlibCompress(content, level);
      auto trailing = c, flipped = c;
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
