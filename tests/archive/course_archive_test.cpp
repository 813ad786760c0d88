#include "archive/course_archive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <tuple>

#include "archive/archive_members.h"
#include "archive/archive_pack.h"
#include "archive/listing_text.h"
#include "archive/member_search.h"
#include "archive/vertex_list.h"
#include "archive/zlib_member.h"
#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using ByteVector = std::vector<std::uint8_t>;
using Status = UnpackedMember::Status;

ByteVector text(const std::string& s) { return {s.begin(), s.end()}; }
struct Member {  // recorded: the size the record claims, -1 for the true one; stored: data is already the stream
  std::string name;
  ByteVector data;
  std::int64_t recorded = -1;
  bool stored = false;
};

// Any names and recorded sizes, past the packer's checks.
ByteVector rawArchive(const std::vector<Member>& members) {
  CourseArchiveWriter writer;
  for (const auto& m : members)
    writer.addMember(m.name, m.stored ? m.data : compressMember(m.data),
                     static_cast<std::uint32_t>(m.recorded < 0 ? std::int64_t(m.data.size()) : m.recorded));
  return std::move(writer).finish();
}

}  // namespace

// Each prefix in a heap block of exactly its size, so that AddressSanitizer sees a read past it.
TEST(CourseArchive, EveryPrefixIsReadInsideItsBlock) {
  const auto archive = rawArchive({{"a", text("first member")}, {"b", ByteVector(300, 'b')}, {"c", {}}});
  ByteVector vertices = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  vertices.resize(40 + 3 * 12 + 5, 0x3F);
  putU32(vertices, 16, 2);  // three points, then five stray bytes
  const std::tuple<const char*, const ByteVector&, std::function<void(Bytes)>> cases[] = {
      {"directory", archive, [](Bytes p) { EXPECT_THROW(readArchiveDirectory(p), Error); }},
      {"search", archive, [](Bytes p) { for (auto c : findMemberChunks(p)) EXPECT_LE(c.end, p.size()); }},
      {"vertex list", vertices, [](Bytes p) {
         const std::string lines = vertexListText(p);
         EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), p.size() < 40 ? 0 : std::ptrdiff_t(p.size() - 40) / 12);
       }},
  };
  for (const auto& [what, input, check] : cases)
    for (std::size_t n = 0; n < input.size(); ++n) {
      auto block = std::make_unique<std::uint8_t[]>(n);
      for (std::size_t i = 0; i < n; ++i) block[i] = input[i];  // std::copy_n here trips GCC 12's -Wstringop-overflow
      SCOPED_TRACE(std::string(what) + ", prefix of " + std::to_string(n));
      check(Bytes(block.get(), n));
    }
}

TEST(CourseArchive, RecordsPointingOutsideAreRejected) {
  const auto good = rawArchive({{"a", text("one")}, {"b", text("two")}, {"c", text("three")}});
  const std::size_t record = getU32(good, 12), size = good.size();
  const std::pair<std::size_t, std::uint32_t> faults[] = {
      {8, 0x80000000u}, {8, 4}, {12, size}, {12, 4}, {12, 0xFFFFFFF0u},
      {record + 64 + 36, size}, {record + 40, size}, {record + 128 + 40, 0xFFFFFFFFu}};
  for (auto [at, value] : faults) {
    auto bad = good;
    putU32(bad, at, value);
    EXPECT_EQ(errorKind([&] { readArchiveDirectory(bad); }), ErrorKind::Corrupt) << at << " = " << value;
  }
  // The magic is not the reader's business, but unpacking wants "ARC0".
  auto odd = good;
  putU32(odd, 0, 0x30435242);
  EXPECT_EQ(readArchiveDirectory(odd).records.size(), 3u);
  EXPECT_THROW(openCourseArchive(odd), Error);
  auto empty = CourseArchiveWriter().finish();
  EXPECT_TRUE(readArchiveDirectory(empty).records.empty());  // directory at 16
  putU32(empty, 12, 4);  // inside the header, with nothing to read there that could fail
  EXPECT_THROW(readArchiveDirectory(empty), Error);
}

TEST(ArchiveUnpacker, DecidesEveryMemberInMemory) {
  auto cut = compressMember(text("this stream is cut"));
  cut.resize(cut.size() - 3);
  ByteVector vrt = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  vrt.resize(52, 0);
  const auto x = static_cast<std::int64_t>(compressMember(text("x")).size());
  const std::string twelve = "twelve bytes";
  const std::tuple<Member, Status, std::string> cases[] = {
      {{"short.bin", text(twelve), 13}, Status::Failed, "inflates to 12 bytes, not the recorded 13"},
      {{"long.bin", text(twelve), 11}, Status::Failed, "inflates to more than its recorded 11 bytes"},
      {{"bomb.bin", text("x"), 1032 * x + 1}, Status::Failed, "records " + std::to_string(1032 * x + 1) +
           " bytes inflated from " + std::to_string(x) + " compressed, more than zlib can produce"},
      {{"edge.bin", text("x"), 1032 * x}, Status::Failed, "inflates to 1 bytes, not the recorded " + std::to_string(1032 * x)},
      {{"cut.bin", cut, 18, true}, Status::Failed, "is not a complete zlib stream"},
      {{"empty.bin", {}}, Status::Ready, ""},
      {{"grass.btc", text("BTCV")}, Status::Ready, "its converted file 'grass.btc.tga' would overwrite the member of that name"},
      {{"hole.vrt", vrt}, Status::Ready, "hole.vrt.txt"},
      {{"grass.btc.tga", text("image")}, Status::Ready, ""},
      {{"a.btc", text("BTCV")}, Status::Ready, ""},
  };
  std::vector<Member> members;
  for (const auto& c : cases) members.push_back(std::get<0>(c));
  const auto archive = rawArchive(members);
  const ArchiveUnpacker unpacker(archive, true);
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& [member, status, said] = cases[i];
    const auto m = unpacker.member(i);
    EXPECT_EQ(m.status, status) << i;
    EXPECT_EQ(m.status != Status::Ready ? m.problem : m.vertexTextName.value_or(m.conversionProblem), said);
    EXPECT_EQ(m.data.size(), m.status == Status::Ready ? member.data.size() : 0) << i;
  }
  EXPECT_EQ(unpacker.member(7).vertexText, "0,0,0\n");
  EXPECT_FALSE(unpacker.member(6).btcTgaName);
  EXPECT_FALSE(ArchiveUnpacker(archive, false).member(7).vertexTextName);
  EXPECT_EQ(unpacker.member(9).btcTgaName, "a.btc.tga");
}

TEST(ArchivePacker, RefusesWhatAnArchiveCannotHold) {
  ArchivePacker packer;
  packer.add(std::string(31, 'n'), {});
  for (const std::string& name : {std::string(32, 'n'), std::string("a:b"), std::string(31, 'n')})
    EXPECT_THROW(packer.add(name, {}), Error) << name;
  EXPECT_EQ(packer.memberCount(), 1u);
  EXPECT_THROW(CourseArchiveWriter().addMember(std::string(32, 'w'), {}, 0), Error);
  EXPECT_EQ(parsePackOrder("a\r\nb"), (std::vector<std::string>{"a", "b"}));  // the last line unended
  EXPECT_THROW(parsePackOrder("a\nb\na\n"), Error);
}

// The sample course's listing, checked by hand, and the escapes of a hostile name.
TEST(ArchiveListing, BothForms) {
  const auto course = readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc");
  const auto listing = listArchive(course, openCourseArchive(course));
  EXPECT_EQ(sha256Hex(text(listingTable(listing))), "cd17139b2b7af90f021f1e03f098e57eb4fa12b5f3995e365a91778aa410d74f");
  EXPECT_EQ(sha256Hex(text(listingJson(listing))), "30973db2db003d30a650825d699055836c765ca6273d72b61d16f5b1d6878282");
  const auto odd = rawArchive({{"a\"b\\c\x01\xE9", text("plain text")}});
  const auto oddListing = listArchive(odd, openCourseArchive(odd));
  EXPECT_NE(listingTable(oddListing).find(R"(a"b\x5Cc\x01\xE9)"), std::string::npos) << listingTable(oddListing);
  EXPECT_NE(listingJson(oddListing).find(R"("name": "a\"b\\c\u0001\u00E9", "offset": 16)"), std::string::npos);
}
