#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "tools/archive_folder.h"
#include "archive/archive_members.h"
#include "archive/archive_pack.h"
#include "tools/extract_course.h"
#include "archive/listing_text.h"
#include "archive/zlib_member.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

using Bytes8 = std::vector<std::uint8_t>;

struct NamedFile {
  std::string name;
  Bytes8 data;
  std::int64_t recordedSize = -1;  // for rawArchive: the size its record claims (-1: the true one)
};

// Real images, sounds and textures under names that fit the 31-byte field.
std::vector<NamedFile> realMembers() {
  const std::pair<const char*, const char*> files[] = {
      {"coin.wav", "media/coin_u8_mono_22050.wav"},
      {"impact.wav", "media/impact_big_s16_mono_48000.wav"},
      {"whistle.wav", "media/whistle_s16_stereo_44100.wav"},
      {"fabric.jpg", "media/fabric_pattern_07_arm_1k_jfif_exif_baseline420.jpg"},
      {"kloppenheim.jpg", "media/kloppenheim_06_1024x512_jfif_progressive420.jpg"},
      {"sunflowers.jpg", "media/sunflowers_puresky_2k_jfif_baseline444.jpg"},
      {"atlas.tga", "textures/cubicmap_atlas_64x64_cm8_bottomup.tga"},
      {"leaf.tga", "textures/leaf_branch_256x512_rgba32.tga.gz"},
      {"scarecrow.tga", "textures/scarecrow_128x256_rgba32_bottomup.tga"},
      {"hull.tga", "textures/ship_hull_wood_256x256_rgb24.tga"},
      {"bark.tga", "textures/tree_bark_320x240_rgb24_bottomup.tga"},
      {"sky.prv", "sky/sky_preview_512x35_top.tga.gz"},
  };
  std::vector<NamedFile> out;
  for (auto [name, path] : files) out.push_back({name, loadData(path)});
  return out;
}

Bytes8 packAll(const std::vector<NamedFile>& files) {
  ArchivePacker packer;
  for (const auto& f : files) packer.add(f.name, f.data);
  return std::move(packer).finish();
}

// An archive with whatever names and sizes a test wants, bypassing the packer's checks.
Bytes8 rawArchive(const std::vector<NamedFile>& members) {
  CourseArchiveWriter writer;
  for (const auto& m : members)
    writer.addMember(m.name, compressMember(m.data),
                     m.recordedSize < 0 ? static_cast<std::uint32_t>(m.data.size())
                                        : static_cast<std::uint32_t>(m.recordedSize));
  return std::move(writer).finish();
}

Bytes8 text(const std::string& s) { return Bytes8(s.begin(), s.end()); }

std::vector<std::string> filesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::recursive_directory_iterator(folder))
    names.push_back(fs::relative(e.path(), folder).string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

TEST(ArchiveUnpack, RealMembersTheExtractorLosesComeBackWholeByName) {
  const auto members = realMembers();
  const auto archive = packAll(members);

  // The signature search cuts every member whose compressed bytes hold 78 9C by chance.
  ScratchDir dir;
  RecordingHost host;
  (void)extractCourse(host, archive, dir.prefix() + "x", 1);
  std::size_t extracted = 0;
  for (const auto& m : members)
    for (const auto& e : fs::directory_iterator(dir.path()))
      if (readFile(e.path()) == m.data) ++extracted;
  EXPECT_LE(extracted, members.size() / 2) << "the extractor no longer loses these members";

  const auto report = unpackArchive(host, archive, dir.file("out"), false);
  EXPECT_EQ(report.written, members.size());
  for (const auto& m : members) EXPECT_EQ(readFile(dir.path() / "out" / m.name), m.data) << m.name;
  EXPECT_EQ(filesIn(dir.path() / "out").size(), members.size());
}

TEST(ArchiveList, ListsEveryRecordWithTheKindOfItsContent) {
  auto members = realMembers();
  Bytes8 vertexList(64, 0);
  vertexList[0] = vertexList[4] = 2;
  members.push_back({"points.vrt", vertexList});
  members.push_back({"a\"b\\c\x01\xE9", text("plain text")});  // a name to escape
  const auto archive = rawArchive(members);
  const auto listing = listArchive(archive, openCourseArchive(archive));
  ASSERT_EQ(listing.size(), members.size());
  const char* kinds[] = {"wav", "wav", "wav", "jpg", "jpg", "jpg", "unknown" /* colour-mapped TGA */,
                         "tga", "tga", "tga", "tga", "tga", "vrt", "unknown"};
  std::uint32_t offset = 16;
  for (std::size_t i = 0; i < listing.size(); ++i) {
    EXPECT_EQ(listing[i].record.name, members[i].name);
    EXPECT_STREQ(memberKindName(listing[i].kind), kinds[i]) << members[i].name;
    EXPECT_EQ(listing[i].record.dataOffset, offset);
    offset += listing[i].record.compressedSize;
  }

  const std::string table = listingTable(listing);
  EXPECT_NE(table.find("    6  atlas.tga        "), std::string::npos) << table;
  EXPECT_NE(table.find("total: 14 members, " + std::to_string(offset - 16) + " bytes compressed"), std::string::npos);
  const auto headingEnd = table.find("offset") + 6;  // offsets right-aligned under their heading
  EXPECT_EQ(table.substr(table.find('\n') + 1 + headingEnd - 2, 2), "16");
  EXPECT_NE(table.find(R"(a"b\x5Cc\x01\xE9)"), std::string::npos);
  EXPECT_NE(listingJson(listing).find(R"("name": "a\"b\\c\u0001\u00E9", "offset": )"), std::string::npos);
  EXPECT_EQ(listingJson({}), "[]\n");
}

TEST(ArchiveNames, RefusesEveryNameThatCouldLeaveTheFolder) {
  const char* hostile[] = {"", ".", "..", "../up", "..\\up", "a/../b", "/etc/passwd", "\\\\server\\share", "sub/x",
                           "sub\\x", "C:evil", "c:", "x:y", "tab\tname", "bell\x07", "del\x7F", "new\nline",
                           "trailing.", "trailing ", "CON", "nul.txt", "com1", "LPT9.dat", "a|b", "a?b", "a*b",
                           "a<b", "a\"b"};
  for (const char* name : hostile) EXPECT_TRUE(memberNameProblem(name).has_value()) << '"' << name << '"';
  const char* fine[] = {"sky.prv", "_s_k_y_94.tga", "Panorama.btc", "a b.tga", ".hidden", "CONSOLE.txt",
                        "com10", "\xE9t\xE9.wav", "a.b.c"};
  for (const char* name : fine) EXPECT_FALSE(memberNameProblem(name).has_value()) << name;
}

TEST(ArchiveUnpack, HostileNamesAreRefusedAndNothingIsWrittenOutsideTheFolder) {
  ScratchDir dir;
  const fs::path out = dir.path() / "out";
  fs::create_directories(out);
  fs::create_symlink(dir.path() / "victim", out / "link.bin");  // planted by someone else
  const auto archive = rawArchive({{"../escape.bin", text("1")},
                                   {"/tmp/absolute.bin", text("2")},
                                   {"C:\\evil.bin", text("3")},
                                   {"sub/inner.bin", text("4")},
                                   {"", text("5")},
                                   {"..", text("6")},
                                   {"ok.bin", text("good")},
                                   {"ok.bin", text("again")},
                                   {"link.bin", text("through the link")}});
  RecordingHost host;
  const auto report = unpackArchive(host, archive, out.string(), false);
  EXPECT_EQ(report.written, 1u);
  EXPECT_EQ(report.refused, 7u);
  EXPECT_EQ(report.failed, 1u);  // the symbolic link
  ASSERT_EQ(report.problems.size(), 8u);
  EXPECT_NE(report.problems[0].find("member 0 '../escape.bin' refused"), std::string::npos) << report.problems[0];
  EXPECT_NE(report.problems[7].find("symbolic link"), std::string::npos) << report.problems[7];
  EXPECT_EQ(readFile(out / "ok.bin"), text("good"));
  EXPECT_EQ(filesIn(dir.path()), (std::vector<std::string>{"out", "out/link.bin", "out/ok.bin"}));
  EXPECT_FALSE(fs::exists(dir.path() / "victim"));
}

TEST(ArchiveUnpack, MembersThatDoNotInflateToTheirSizeFailAloneAndTheRestAreWritten) {
  auto cut = compressMember(text("this stream is cut"));
  cut.resize(cut.size() - 3);
  CourseArchiveWriter writer;
  writer.addMember("short.bin", compressMember(text("twelve bytes")), 13);
  writer.addMember("long.bin", compressMember(text("twelve bytes")), 11);
  writer.addMember("cut.bin", cut, 18);
  writer.addMember("bomb.bin", compressMember(text("x")), 0xFFFFFFF0u);  // refused before any allocation
  writer.addMember("empty.bin", compressMember({}), 0);
  writer.addMember("good.bin", compressMember(text("twelve bytes")), 12);
  ScratchDir dir;
  writeFile(dir.file("a.arc"), std::move(writer).finish());

  const auto run = runCli({"unpack", dir.file("a.arc"), dir.file("out")});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "members: 2 written, 0 converted, 0 refused, 4 failed\n");
  for (const char* problem : {"'short.bin' failed: inflates to 12 bytes, not the recorded 13",
                              "'long.bin' failed: inflates to more than its recorded 11 bytes",
                              "'cut.bin' failed: is not a complete zlib stream", "more than zlib can produce"})
    EXPECT_NE(run.err.find(problem), std::string::npos) << run.err;
  EXPECT_EQ(filesIn(dir.path() / "out"), (std::vector<std::string>{"empty.bin", "good.bin"}));
  EXPECT_EQ(readFile(dir.path() / "out" / "good.bin"), text("twelve bytes"));
}

TEST(ArchiveUnpack, EveryTruncatedPrefixIsRejectedBeforeAnythingIsWritten) {
  const auto members = realMembers();
  const auto archive = packAll({members[0], members[6]});  // two real members, about 4 KB
  for (std::size_t n = 0; n < archive.size(); ++n) {
    const Bytes8 prefix(archive.begin(), archive.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_THROW(ArchiveUnpacker(prefix, true), Error) << "prefix of " << n << " bytes";
  }
  ScratchDir dir;
  writeFile(dir.file("cut.arc"), Bytes8(archive.begin(), archive.end() - 1));
  const auto run = runCli({"unpack", dir.file("cut.arc"), dir.file("out")});
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("vellmark: error: course archive directory"), std::string::npos) << run.err;
  EXPECT_FALSE(fs::exists(dir.path() / "out"));
}

TEST(ArchiveUnpack, RecordsPointingOutsideTheFileAreRejected) {
  const auto good = packAll(realMembers());
  const std::size_t last = getU32(good, 12) + 11 * kArchiveRecordSize;
  const std::pair<std::size_t, std::uint32_t> faults[] = {
      {last + 36, static_cast<std::uint32_t>(good.size())},  // data begins past the end
      {last + 40, 0x7FFFFFFF},                               // data runs past the end
      {last + 36, 0xFFFFFFF0u},                              // offset + size wraps around
  };
  ScratchDir dir;
  for (auto [at, value] : faults) {
    auto bad = good;
    putU32(bad, at, value);
    writeFile(dir.file("bad.arc"), bad);
    const auto run = runCli({"list", dir.file("bad.arc")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("record 11 ('sky.prv') points at"), std::string::npos) << run.err;
  }
  writeFile(dir.file("text.arc"), text("# not an archive at all\n"));
  const auto notArchive = runCli({"list", dir.file("text.arc"), "--json"});
  EXPECT_EQ(notArchive.status, 2);
  EXPECT_NE(notArchive.err.find("not a course archive"), std::string::npos) << notArchive.err;
}

TEST(ArchivePack, WritesZlibDefaultStreamsAndZeroPaddedRecords) {
  const auto preview = loadData("sky/sky_preview_512x35_top.tga.gz");
  const auto archive = packAll({{"sky.prv", preview}});
  const Bytes8 expected = zlibCompress(preview);
  const auto length = static_cast<std::uint32_t>(expected.size());
  ASSERT_EQ(archive.size(), 16 + length + 64);
  EXPECT_EQ(Bytes8(archive.begin() + 16, archive.begin() + 16 + length), expected);
  Bytes8 record(64, 0);
  std::memcpy(&record[4], "sky.prv", 7);
  putU32(record, 36, 16);
  putU32(record, 40, length);
  putU32(record, 44, static_cast<std::uint32_t>(preview.size()));
  putU32(record, 48, 2);
  EXPECT_EQ(Bytes8(archive.end() - 64, archive.end()), record);

  ArchivePacker packer;
  EXPECT_THROW(packer.add(std::string(32, 'n'), {}), Error);
  EXPECT_THROW(packer.add("../up", {}), Error);
  packer.add(std::string(31, 'n'), {});
  EXPECT_THROW(packer.add(std::string(31, 'n'), {}), Error);
}

TEST(ArchivePack, FolderRoundTripsThroughTheProgramInSortedOrOrderFileOrder) {
  ScratchDir dir;
  const auto members = realMembers();
  fs::create_directories(dir.path() / "in" / "subfolder");
  for (const auto& m : members) writeFile(dir.path() / "in" / m.name, m.data);
  writeFile(dir.path() / "in" / "empty", {});
  auto names = [](const Bytes8& archive) {
    std::vector<std::string> out;
    for (const auto& r : openCourseArchive(archive).records) out.push_back(r.name);
    return out;
  };

  auto run = runCli({"pack", dir.file("in"), dir.file("sorted.arc")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("skipped 'subfolder'"), std::string::npos);
  const auto sorted = names(readFile(dir.file("sorted.arc")));
  EXPECT_EQ(sorted.size(), members.size() + 1);  // with the empty file
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));


  // An order file picks and orders the members; blank lines and CRLF endings are fine.
  writeFile(dir.file("order.txt"), text("sky.prv\r\n\r\ncoin.wav\r\natlas.tga"));
  run = runCli({"pack", dir.file("in"), dir.file("ordered.arc"), "--order", dir.file("order.txt")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(names(readFile(dir.file("ordered.arc"))), (std::vector<std::string>{"sky.prv", "coin.wav", "atlas.tga"}));

  // An order file cannot reach outside the folder, nor name a member twice.
  writeFile(dir.path() / "secret", text("outside"));
  writeFile(dir.file("order.txt"), text("coin.wav\n../secret\n"));
  run = runCli({"pack", dir.file("in"), dir.file("bad.arc"), "--order", dir.file("order.txt")});
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("'../secret'"), std::string::npos) << run.err;
  EXPECT_THROW(parsePackOrder("a\nb\na\n"), Error);
}

TEST(ArchivePack, ReproducesASkyFileByteForByteFromItsUnpackedMembers) {
  ScratchDir dir;
  writeFile(dir.file("preview.tga"), loadData("sky/sky_preview_512x35_top.tga.gz"));
  writeFile(dir.file("course.tga"), loadData("sky/sky_4800x320_top.tga.gz"));
  auto run = runCli({"sky-file", dir.file("preview.tga"), dir.file("course.tga"), dir.path().string()});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto sky = readFile(dir.file("course.sky"));

  run = runCli({"unpack", dir.file("course.sky"), dir.file("members")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "members: 95 written, 0 converted, 0 refused, 0 failed\n");
  std::string order;
  for (int n = 1; n <= 94; ++n) order += "_s_k_y_" + std::to_string(n) + ".tga\n";
  order += "sky.prv\n";
  writeFile(dir.file("order.txt"), text(order));
  run = runCli({"pack", dir.file("members"), dir.file("again.sky"), "--order", dir.file("order.txt")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(readFile(dir.file("again.sky")), sky);
}

TEST(ArchiveUnpack, ConvertWritesBtcTexturesThroughBtc2TgaAndVertexCoordinates) {
  const Bytes8 btc = solidBtcFile(8, 1, {0x10, 0x20, 0x30, 0xFF});
  Bytes8 rejected = btc;
  putU32(rejected, 16, 0);  // no tiles: BTC2TGA refuses it
  Bytes8 vrt(40 + 24, 0);
  putU32(vrt, 0, 2);
  putU32(vrt, 4, 2);
  putU32(vrt, 16, 1);  // two points
  const float coords[] = {1.5f, -2.0f, 1e6f, 0.1f, 0.0f, 3.25f};
  std::memcpy(&vrt[40], coords, sizeof coords);

  const auto archive = rawArchive({{"grass.btc", btc}, {"bad.btc", rejected}, {"hole1.vrt", vrt},
                                   {"hole2.vrt", vrt}, {"hole2.vrt.txt", text("mine")}});
  ScratchDir dir;
  RecordingHost host;
  const auto report = unpackArchive(host, archive, dir.file("out"), true);
  EXPECT_EQ(report.written, 5u);
  EXPECT_EQ(report.converted, 2u);
  EXPECT_EQ(readFile(dir.path() / "out" / "grass.btc"), btc);  // the member itself as well
  Bytes8 pixels;
  for (int p = 0; p < 64; ++p) pixels.insert(pixels.end(), {0x10, 0x20, 0x30, 0xFF});
  EXPECT_EQ(readFile(dir.path() / "out" / "grass.btc.tga"), makeTga(8, 8, 32, 0x20, pixels));
  EXPECT_FALSE(fs::exists(dir.path() / "out" / "bad.btc.tga"));
  EXPECT_EQ(host.boxes.size(), 1u);
  EXPECT_EQ(readFile(dir.path() / "out" / "hole1.vrt.txt"), text("1.5,-2,1e+06\n0.1,0,3.25\n"));
  EXPECT_EQ(readFile(dir.path() / "out" / "hole2.vrt.txt"), text("mine"));  // the member wins
  ASSERT_EQ(report.problems.size(), 2u);
  EXPECT_NE(report.problems[0].find("member 1 'bad.btc' not converted"), std::string::npos) << report.problems[0];
  EXPECT_NE(report.problems[1].find("would overwrite the member"), std::string::npos) << report.problems[1];
}
