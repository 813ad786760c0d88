#include "tools/archive_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "archive/listing_text.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

// Read piece by piece from disk, an archive lists as it does in memory, with the same
// errors; a member whose first bytes come after 25,000 bytes of empty blocks is still judged.
TEST(ArchiveFile, ListsAndFailsAsTheArchiveInMemory) {
  ScratchDir dir;
  std::vector<std::uint8_t> late = {0x78, 0x01};
  for (int i = 0; i < 5000; ++i) late.insert(late.end(), {0, 0, 0, 0xFF, 0xFF});
  const std::string btc = "BTCV\x10\0\x10\0";
  late.insert(late.end(), {1, 8, 0, 0xF7, 0xFF});
  late.insert(late.end(), btc.begin(), btc.end());
  const auto check = adler32(1, reinterpret_cast<const Bytef*>(btc.data()), 8);
  for (int shift : {24, 16, 8, 0}) late.push_back(static_cast<std::uint8_t>(check >> shift));
  CourseArchiveWriter writer;
  writer.addMember("late.btc", late, 8);
  const auto sample = readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc");
  const auto made = std::move(writer).finish();
  for (const auto& archive : {sample, made}) {
    writeFile(dir.file("a.arc"), archive);
    const auto fromFile = listArchiveFile(InputFile(dir.file("a.arc")));
    EXPECT_EQ(listingTable(fromFile), listingTable(listArchive(archive, openCourseArchive(archive))));
    EXPECT_NE(fromFile.back().kind, MemberKind::Unknown);
    for (std::size_t cut : {std::size_t{3}, std::size_t{16}, archive.size() - 1}) {
      const std::vector<std::uint8_t> part(archive.begin(), archive.begin() + static_cast<std::ptrdiff_t>(cut));
      writeFile(dir.file("cut.arc"), part);
      std::string fromDisk, inMemory;
      try { readCourseArchiveDirectory(InputFile(dir.file("cut.arc"))); } catch (const Error& e) { fromDisk = e.what(); }
      try { openCourseArchive(part); } catch (const Error& e) { inMemory = e.what(); }
      EXPECT_EQ(fromDisk, inMemory);
      EXPECT_FALSE(fromDisk.empty());
    }
  }
}
