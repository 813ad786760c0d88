#include "archive/member_search.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <random>

#include "archive/extraction_plan.h"
#include "archive/vertex_list.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using ByteVector = std::vector<std::uint8_t>;
using Chunks = std::vector<MemberChunk>;

// zlib's own verdict: uncompress into a destination of exactly `capacity` bytes.
std::optional<ByteVector> zlibUncompress(const ByteVector& chunk, std::size_t capacity) {
  ByteVector out(std::max<std::size_t>(capacity, 1));
  uLongf length = static_cast<uLongf>(capacity);
  if (uncompress(out.data(), &length, chunk.data(), static_cast<uLong>(chunk.size())) != Z_OK) return std::nullopt;
  out.resize(length);
  return out;
}

// inflateChunk on a heap block of exactly the chunk's size, so that ASan sees an overread.
std::optional<ByteVector> ours(const ByteVector& chunk, std::uint64_t capacity, std::size_t directLimit) {
  InflateScratch scratch;
  auto exact = std::make_unique<std::uint8_t[]>(chunk.size());
  std::copy(chunk.begin(), chunk.end(), exact.get());
  const auto result = inflateChunk(Bytes(exact.get(), chunk.size()), capacity, scratch, directLimit);
  return result ? std::optional(ByteVector(result->begin(), result->end())) : std::nullopt;
}

// 16 header bytes beginning with `header`, then `rest`.
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
  if (!coordinates.empty()) std::memcpy(&v[40], coordinates.data(), 4 * coordinates.size());
  return v;
}

}  // namespace

TEST(MemberSearch, SignaturesAndChunks) {
  EXPECT_EQ(findZlibSignature(bytes({1, 0x78, 0x9C, 0x78, 0x9C}), 0), 1u);
  EXPECT_EQ(findZlibSignature(bytes({1, 0x78, 0x9C, 0x78, 0x9C}), 2), 3u);
  EXPECT_EQ(findZlibSignature(bytes({0x9C, 0x78, 0x00, 0x78}), 0), 4u);  // a final 0x78 is not one
  EXPECT_EQ(findZlibSignature(bytes({0x78, 0x9C}), 5), 2u);

  struct Case {
    const char* what;
    ByteVector data;
    Chunks chunks;
  };
  const Case cases[] = {
      {"signature to signature, the last to the end", withHeader({}, {7, 0x78, 0x9C, 1, 2, 0x78, 0x9C, 3, 0x78}),
       {{17, 21}, {21, 25}}},
      {"a signature at offset 16 is seen", withHeader({}, {0x78, 0x9C, 1}), {{16, 19}}},
      {"signatures in the header are not", withHeader({0x78, 0x9C, 0, 0x78, 0x9C}, {1, 0x78, 0x9C}), {{17, 19}}},
      {"nor one straddling offset 16", withHeader({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x78}, {0x9C, 0}),
       {{0, 18}}},
      {"none after the header: the whole buffer once", withHeader({0x78, 0x9C}, {0, 0x78}), {{0, 18}}},
      {"nothing past the header", withHeader({0x78, 0x9C}, {}), {}},
      {"shorter than the header", bytes({0x78, 0x9C}), {}},
  };
  for (const auto& c : cases) EXPECT_EQ(findMemberChunks(c.data), c.chunks) << c.what;

  ByteVector many(16, 0);
  for (int i = 0; i < 2600; ++i) many.insert(many.end(), {0x78, 0x9C, 1});
  const auto chunks = findMemberChunks(many);
  ASSERT_EQ(chunks.size(), 2500u);  // passes 0-2499
  EXPECT_EQ(chunks.front(), (MemberChunk{16, 19}));
  EXPECT_EQ(chunks.back(), (MemberChunk{16 + 2499 * 3, 16 + 2500 * 3}));
}

// The first test that holds decides the kind, and a member becomes prefix + pass + the
// kind's extension: a BTC texture only as its TGA image, a vertex list with its text, a
// panorama only inside the panorama archive. A tag cut short is no tag.
TEST(ExtractionPlan, KindsAndNames) {
  struct Case {
    ByteVector data;
    MemberKind kind;
    std::string path;
    bool tagEndsTheData;  // then every shorter prefix is Unknown
  };
  const Case cases[] = {
      {bytes({0, 0, 2, 0}), MemberKind::Tga, "p/x12.tga", true},
      {bytes({'R', 'I', 'F', 'F'}), MemberKind::Wav, "p/x12.wav", true},
      {bytes({'B', 'T', 'C', 'V'}), MemberKind::Btc, "p/x12.tga", true},
      {bytes({'n', 'a', 'p', 0}), MemberKind::Pan, "", true},
      {bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'}), MemberKind::Jpg, "p/x12.jpg", true},
      {vertexList(0, {}), MemberKind::Vrt, "p/x12.vrt", false},
      {bytes({2, 0, 0, 0, 2, 0, 0, 0}), MemberKind::Vrt, "p/x12.vrt", true},
      {bytes({'n', 'a', 'p', 1}), MemberKind::Unknown, "", false},
      {bytes({2, 0, 0, 0, 3, 0, 0, 0}), MemberKind::Unknown, "", false},
      {bytes({0, 0, 2, 0, 0, 0, 'J', 'F', 'I', 'F'}), MemberKind::Tga, "p/x12.tga", false},
      {bytes({'R', 'I', 'F', 'F', 2, 0, 0, 0}), MemberKind::Wav, "p/x12.wav", false},
      {loadData("textures/fabric_check_128x128_cm8.tga"), MemberKind::Unknown, "", false},  // colour-mapped
  };
  for (const auto& c : cases) {
    const auto plan = planExtractedMember(c.data, "p/x", 12);
    EXPECT_EQ(plan.kind, c.kind) << memberKindName(c.kind);
    EXPECT_EQ(plan.path, c.path) << memberKindName(c.kind);
    EXPECT_EQ(plan.vertexTextPath, c.kind == MemberKind::Vrt ? "p/x12.vrt.txt" : "");
    EXPECT_EQ(plan.panoramaArchive.empty(), c.kind != MemberKind::Pan);
    for (std::size_t n = 0; c.tagEndsTheData && n < c.data.size(); ++n) {
      auto block = std::make_unique<std::uint8_t[]>(n);  // exactly sized, for ASan
      std::copy_n(c.data.begin(), n, block.get());
      EXPECT_EQ(classifyMember({block.get(), n}), MemberKind::Unknown) << memberKindName(c.kind) << " " << n;
    }
  }
  EXPECT_EQ(planExtractedMember(vertexList(0, {7, 8, 9, 10}), "", 0).vertexText, "7,8,9\n");
  EXPECT_EQ(vertexListText(vertexList(0xFFFFFFFFu, {1, 2, 3})), "");  // the count plus one wraps to 0
  EXPECT_EQ(panoramaArchivePath("p/x"), "p/xPanorama.lib");
  EXPECT_STREQ(memberKindExtension(MemberKind::Unknown), ".DNP");
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
  ASSERT_TRUE(fits);
  EXPECT_EQ(ByteVector(fits->begin(), fits->end()), ByteVector(size, 'z'));
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
  std::mt19937 rng(7);
  std::vector<ByteVector> chunks = {
      bytes({0x78, 0xBB, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1}),  // asks for a preset dictionary
      bytes({0x78, 0x9C}), bytes({0x78, 0x9D, 3, 0, 0, 0, 0, 1}),
      bytes({0x08, 0x1D, 3, 0, 0, 0, 0, 1})};  // a valid small-window header
  for (std::size_t size : {0u, 1u, 100u, 5000u, 70000u})
    for (int level : {0, 1, 6, 9}) {
      auto content = patternPixels(static_cast<int>(size / 4 + 1), 1, static_cast<std::uint32_t>(size));
      content.resize(size);
      for (std::size_t i = 0; i < size; i += 7) content[i] = 0;  // somewhat compressible
      const auto c = zlibCompress(content, level);
      ByteVector trailing = c, flipped = c, flippedAgain = c;
      trailing.insert(trailing.end(), {0x78, 0x9C, 0xFF, 0});
      flipped[rng() % c.size()] ^= static_cast<std::uint8_t>(1 + rng() % 255);
      flippedAgain[rng() % c.size()] ^= static_cast<std::uint8_t>(1 + rng() % 255);
      chunks.insert(chunks.end(), {c, trailing, flipped, flippedAgain, ByteVector(c.begin(), c.end() - 1),
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
  EXPECT_GT(successes, 40);
}

// Streams no compressor writes: a fixed-code block using the reserved length code 286 or
// distance code 30. zlib rejects both; the libdeflate build accepts the length code on its
// one-shot path only, the grow-as-needed path being zlib's alone.
TEST(MemberInflate, ReservedCodesAreTheOneDifference) {
  const auto valid = bytes({0x78, 0x9C, 0x4B, 0x1C, 0x05, 0x00, 0xD9, 0xA8, 0x62, 0x24});  // 'a', then 258 more
  const auto reservedLength = bytes({0x78, 0x9C, 0x4B, 0x1C, 0x03, 0x00, 0xD9, 0xA8, 0x62, 0x24});
  const auto reservedDistance = bytes({0x78, 0x9C, 0x4B, 0x04, 0x3E, 0x00, 0x00, 0x00, 0x03, 0xCE, 0x01, 0x85});
  ASSERT_EQ(zlibUncompress(valid, 300), ByteVector(259, 'a'));
  ASSERT_FALSE(zlibUncompress(reservedLength, 300));
  for (std::size_t limit : {std::size_t{1}, std::size_t{64} << 20}) {
    EXPECT_EQ(ours(valid, 300, limit), ByteVector(259, 'a'));
    EXPECT_EQ(ours(reservedLength, 300, limit).has_value(), inflateAcceptsReservedCodes() && limit > 1);
    EXPECT_FALSE(ours(reservedDistance, 300, limit));
  }
}
