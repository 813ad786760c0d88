#include "archive/course_archive.h"

#include <gtest/gtest.h>

#include "archive/zlib_member.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> threeMemberArchive() {
  CourseArchiveWriter writer;
  for (int i = 0; i < 3; ++i) {
    auto content = patternPixels(16 + i, 8);
    auto packed = compressMember(content);
    writer.addMember("member" + std::to_string(i) + ".bin", packed, static_cast<std::uint32_t>(content.size()));
  }
  return std::move(writer).finish();
}

}  // namespace

TEST(CompressionBuffer, FollowsTheTenPercentRule) {
  EXPECT_EQ(compressionBufferSize(262162), 288390u);
  EXPECT_EQ(compressionBufferSize(16402), 18054u);
  EXPECT_EQ(compressionBufferSize(71698), 78879u);
  EXPECT_EQ(compressionBufferSize(0), 12u);
  EXPECT_EQ(compressionBufferSize(0xFFFFFFFFu), 4724464036u);
}

TEST(CompressionBuffer, MembersRoundTripThroughZlib) {
  auto content = loadData("media/coin_u8_mono_22050.wav");
  auto packed = compressMember(content);
  ASSERT_GE(packed.size(), 2u);
  EXPECT_EQ(packed[0], 0x78);
  EXPECT_EQ(packed[1], 0x9C);
  auto back = inflateMember(packed, content.size());
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(std::vector<std::uint8_t>(back.bytes().begin(), back.bytes().end()), content);
  // One byte less room than the member needs is a failure, not a short success.
  EXPECT_FALSE(inflateMember(packed, content.size() - 1).ok());
  EXPECT_TRUE(compressMember({}).size() > 0);
}

TEST(CourseArchive, OneMemberArchiveLayout) {
  std::vector<std::uint8_t> content(1000, 'x');
  auto packed = compressMember(content);
  const auto c = static_cast<std::uint32_t>(packed.size());
  CourseArchiveWriter writer;
  writer.addMember("Panorama.btc", packed, 1000);
  EXPECT_EQ(writer.header().totalSize, c + 80);
  auto archive = std::move(writer).finish();
  ASSERT_EQ(archive.size(), c + 80);
  EXPECT_EQ(std::string(archive.begin(), archive.begin() + 4), "ARC0");
  EXPECT_EQ(getU32(archive, 4), c + 80);
  EXPECT_EQ(getU32(archive, 8), 1u);
  EXPECT_EQ(getU32(archive, 12), c + 16);
  const std::size_t rec = c + 16;
  EXPECT_EQ(getU32(archive, rec + 0), 0u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&archive[rec + 4])), "Panorama.btc");
  for (std::size_t i = rec + 4 + 12; i < rec + 36; ++i) EXPECT_EQ(archive[i], 0) << i;
  EXPECT_EQ(getU32(archive, rec + 36), 16u);
  EXPECT_EQ(getU32(archive, rec + 40), c);
  EXPECT_EQ(getU32(archive, rec + 44), 1000u);
  EXPECT_EQ(getU32(archive, rec + 48), 2u);
  for (std::size_t i = rec + 52; i < rec + 64; ++i) EXPECT_EQ(archive[i], 0);
}

TEST(CourseArchive, ReaderFindsEveryMemberAndTheLastRecordEndsAtTotalSize) {
  auto archive = threeMemberArchive();
  auto dir = readArchiveDirectory(archive);
  ASSERT_EQ(dir.records.size(), 3u);
  EXPECT_EQ(dir.header.totalSize, archive.size());
  EXPECT_EQ(dir.header.directoryOffset + 3 * kArchiveRecordSize, archive.size());
  EXPECT_EQ(dir.records[0].dataOffset, 16u);
  for (int i = 0; i < 3; ++i) {
    const auto& r = dir.records[i];
    EXPECT_EQ(r.name, "member" + std::to_string(i) + ".bin");
    auto back = inflateMember(memberData(archive, r), r.uncompressedSize);
    ASSERT_TRUE(back.ok());
    auto expected = patternPixels(16 + i, 8);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), back.bytes().begin(), back.bytes().end()));
    if (i > 0) {
      EXPECT_EQ(r.dataOffset, dir.records[i - 1].dataOffset + dir.records[i - 1].compressedSize);
    }
  }
}

TEST(CourseArchive, EveryTruncatedPrefixIsRejected) {
  auto archive = threeMemberArchive();
  for (std::size_t n = 0; n < archive.size(); ++n) {
    std::vector<std::uint8_t> prefix(archive.begin(), archive.begin() + n);  // exact-size heap block
    EXPECT_THROW(readArchiveDirectory(prefix), Error) << "prefix of " << n << " bytes";
  }
}

TEST(CourseArchive, RecordsPointingOutsideAreRejected) {
  const auto good = threeMemberArchive();
  const std::size_t dirOffset = getU32(good, 12);
  struct Case {
    const char* what;
    std::size_t at;
    std::uint32_t value;
  };
  const Case cases[] = {
      {"record count negative", 8, 0x80000000u},
      {"record count too large", 8, 4},
      {"directory offset past end", 12, static_cast<std::uint32_t>(good.size())},
      {"directory offset inside header", 12, 4},
      {"directory offset wraps", 12, 0xFFFFFFF0u},
      {"data offset past end", dirOffset + 64 + 36, static_cast<std::uint32_t>(good.size())},
      {"compressed size past end", dirOffset + 36 + 4, static_cast<std::uint32_t>(good.size())},
      {"offset plus size wraps", dirOffset + 128 + 40, 0xFFFFFFFFu},
  };
  for (const auto& c : cases) {
    auto bad = good;
    putU32(bad, c.at, c.value);
    try {
      readArchiveDirectory(bad);
      ADD_FAILURE() << c.what << " was accepted";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::Corrupt) << c.what;
    }
  }
  // Magic, totalSize and storage kind are not the reader's business.
  auto odd = good;
  putU32(odd, 0, 0);
  putU32(odd, 4, 1);
  putU32(odd, dirOffset + 48, 7);
  EXPECT_EQ(readArchiveDirectory(odd).records.size(), 3u);
}

TEST(CourseArchive, NamesMustFitTheirField) {
  CourseArchiveWriter writer;
  EXPECT_NO_THROW(writer.addMember(std::string(31, 'a'), {}, 0));
  EXPECT_THROW(writer.addMember(std::string(32, 'a'), {}, 0), Error);
}
