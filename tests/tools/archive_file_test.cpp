#include "tools/archive_file.h"

#include <gtest/gtest.h>

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
  late.insert(late.end(), {1, 8, 0, 0xF7, 0xFF, 'B', 'T', 'C', 'V', 16, 0, 16, 0});  // no check value follows
  CourseArchiveWriter writer;
  writer.addMember("late.btc", late, 8);
  for (const auto& archive : {readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc"),
                              std::move(writer).finish()}) {
    writeFile(dir.file("a.arc"), archive);
    const auto fromFile = listArchiveFile(InputFile(dir.file("a.arc")));
    EXPECT_EQ(listingTable(fromFile), listingTable(listArchive(archive, openCourseArchive(archive))));
    EXPECT_NE(fromFile.back().kind, MemberKind::Unknown);
    for (std::size_t cut : {std::size_t{3}, std::size_t{16}, archive.size() - 1}) {
      const std::vector<std::uint8_t> part(archive.begin(), archive.begin() + static_cast<std::ptrdiff_t>(cut));
      writeFile(dir.file("a.arc"), part);
      EXPECT_EQ(errorKind([&] { readCourseArchiveDirectory(InputFile(dir.file("a.arc"))); }),
                errorKind([&] { openCourseArchive(part); }));
    }
  }
}
