#include "tools/archive_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "archive/course_archive.h"
#include "archive/zlib_member.h"
#include "support/sha256.h"
#include "support/test_support.h"
#include "tools/messages.h"

using namespace vellmark;
using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

using ByteVector = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

ByteVector text(const std::string& s) { return {s.begin(), s.end()}; }

ByteVector archiveOf(const std::vector<std::pair<std::string, ByteVector>>& members) {
  CourseArchiveWriter writer;
  for (const auto& [name, data] : members)
    writer.addMember(name, compressMember(data), static_cast<std::uint32_t>(data.size()));
  return std::move(writer).finish();
}

Names filesIn(const fs::path& folder) {
  Names names;
  for (const auto& e : fs::recursive_directory_iterator(folder)) names.push_back(e.path().lexically_relative(folder));
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

// The sample course unpacked with conversion; its converted files were checked by hand.
TEST(ArchiveFolder, SampleCourseUnpacksAndPacksBack) {
  ScratchDir dir;
  RecordingHost host;
  const auto course = readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc");
  EXPECT_EQ(unpackArchive(host, course, dir.file("out"), true).converted, 2u);
  EXPECT_EQ(filesIn(dir.path() / "out").size(), 12u);  // the ten members and two conversions, packed back below
  EXPECT_EQ(sha256Hex(readFile(dir.path() / "out/hull.btc.tga")),
            "08c50a3cf033b52e7d30f59479af2fe2e0bc8e85889f2dfc3ae050361f37f20b");
  EXPECT_EQ(sha256Hex(readFile(dir.path() / "out/terrain.vrt.txt")),
            "7b0999977a2498a9f038114729824e611bdbbec793ff3cea383d6e93eb230767");
  EXPECT_TRUE(host.boxes.empty());
  std::string order = "\r\n";  // blank lines and CRLF endings are fine
  for (const auto& r : readArchiveDirectory(course).records) order += r.name + "\r\n";
  writeFile(dir.file("order.txt"), text(order));
  for (unsigned threads : {1u, 3u}) {  // the same bytes whatever the threads
    std::size_t progress = 0;
    const PackOptions options{dir.file("order.txt"), threads, [&](std::size_t done, std::size_t total, const std::string&) {
                                EXPECT_EQ(total, 10u);
                                EXPECT_EQ(done, ++progress);
                              }};
    EXPECT_EQ(packFolder(dir.file("out"), dir.file("again.arc"), options).members, 10u);
    EXPECT_EQ(readFile(dir.file("again.arc")), course);
  }
}

TEST(ArchiveFolder, UnpackWritesNothingOutsideTheFolderAndReportsEveryMember) {
  ScratchDir dir;
  const fs::path out = dir.path() / "out";
  fs::create_directories(out);
  fs::create_symlink(dir.path() / "victim", out / "link.bin");  // planted by someone else
  writeFile(out / "bad.btc.tga", text("left over from an earlier run"));
  const auto archive = archiveOf({{"../escape.bin", text("1")}, {"sub/inner.bin", text("2")}, {"ok.bin", text("good")},
                                  {"ok.bin", text("again")}, {"link.bin", text("through the link")},
                                  {"bad.btc", solidBtcFile(4, 0, {0, 0, 0, 0})},
                                  {"x.vrt", bytes({2, 0, 0, 0, 2, 0, 0, 0})}, {"x.vrt.txt", text("mine")}});
  RecordingHost host;
  const auto report = unpackArchive(host, archive, out.string(), true);
  EXPECT_EQ(report.failed, 1u);
  EXPECT_EQ(report.problems,
            (Names{"member 0 '../escape.bin' refused: the name contains \"..\"",
                   "member 1 'sub/inner.bin' refused: the name contains a path separator",
                   "member 3 'ok.bin' refused: an earlier member has the same name",
                   "member 4 'link.bin' failed: 'link.bin' is a symbolic link in the output folder; not written through it",
                   "member 5 'bad.btc' not converted: BTC2TGA made no 'bad.btc.tga'",
                   "member 6 'x.vrt' not converted: its converted file 'x.vrt.txt' would overwrite the member of that name"}));
  EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{messages::kInvalidBtcCaption, messages::kInvalidBtcText}}));
  EXPECT_EQ(filesIn(dir.path()), (Names{"out", "out/bad.btc", "out/link.bin", "out/ok.bin", "out/x.vrt", "out/x.vrt.txt"}));
  EXPECT_EQ(readFile(out / "ok.bin"), text("good"));

  // A cut archive is refused whole, before its folder is made.
  const ByteVector cut(archive.begin(), archive.end() - 1);
  EXPECT_THROW(unpackArchive(host, cut, dir.file("never"), false), Error);
  EXPECT_FALSE(fs::exists(dir.path() / "never"));

  writeFile(dir.file("a.arc"), archive);
  const auto run = runCli({"unpack", dir.file("a.arc"), dir.file("cli")});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "members: 5 written, 0 converted, 3 refused, 0 failed\n");
  EXPECT_EQ(run.err.substr(0, 67), "vellmark: member 0 '../escape.bin' refused: the name contains \"..\"\n");
  EXPECT_EQ(runCli({"unpack", dir.file("a.arc")}).status, 2);
}

TEST(ArchiveFolder, PackTakesSortedRegularFilesOrTheOrderFilesNamesOnly) {
  ScratchDir dir;
  fs::create_directories(dir.path() / "in" / "subfolder");
  for (const char* name : {"b.wav", "a.tga", "C.jpg", "empty"})
    writeFile(dir.path() / "in" / name, text(name[0] == 'e' ? "" : name));
  writeFile(dir.path() / "secret", text("outside"));
  fs::create_symlink(dir.path() / "secret", dir.path() / "in" / "link");

  packFolder(dir.file("in"), dir.file("in/self.arc"), {});
  const auto again = packFolder(dir.file("in"), dir.file("in/self.arc"), {});  // leaving itself out
  EXPECT_EQ(again.skipped, (Names{"link", "subfolder"}));
  Names names;
  for (const auto& r : readArchiveDirectory(readFile(dir.file("in/self.arc"))).records) names.push_back(r.name);
  EXPECT_EQ(names, (Names{"C.jpg", "a.tga", "b.wav", "empty"}));

  // Refused whole, with no archive left behind: a name outside the folder, a link, a
  // subfolder, a missing folder.
  for (const char* order : {"b.wav\n../secret\n", "b.wav\nlink\n", "b.wav\nsubfolder\n"}) {
    writeFile(dir.file("order.txt"), text(order));
    EXPECT_THROW(packFolder(dir.file("in"), dir.file("bad.arc"), {dir.file("order.txt"), 1, {}}), Error) << order;
  }
  EXPECT_THROW(packFolder(dir.file("absent"), dir.file("bad.arc"), {}), Error);
  EXPECT_EQ(filesIn(dir.path()), (Names{"in", "in/C.jpg", "in/a.tga", "in/b.wav", "in/empty", "in/link", "in/self.arc",
                                        "in/subfolder", "order.txt", "secret"}));
}

// Names that are one file on Windows, or that pack would refuse, are refused on every system;
// messages show names escaped.
TEST(ArchiveFolder, UnpackRefusesNamesThatClashInCaseOrCannotPackAgain) {
  ScratchDir dir;
  const std::string n31(31, 'n'), m31 = "m" + n31.substr(1);
  auto archive = archiveOf({{"ok.txt", text("1")}, {"OK.TXT", text("2")}, {"esc\x1B[2J", text("3")}, {"\xE9t\xE9.wav", text("4")},
                            {"\xC9T\xC9.WAV", text("5")}, {n31, text("6")}, {m31, text("7")}});
  // The last name takes its field's terminating NUL: 32 bytes, which pack would refuse.
  const auto field = std::search(archive.begin(), archive.end(), m31.begin(), m31.end());
  ASSERT_NE(field, archive.end());
  field[31] = 'n';
  RecordingHost host;
  const auto report = unpackArchive(host, archive, dir.file("out"), false);
  EXPECT_EQ(report.problems,
            (Names{"member 1 'OK.TXT' refused: an earlier member is named 'ok.txt', the same name but for case",
                   "member 2 'esc\\x1B[2J' refused: the name contains a control character",
                   "member 6 'm" + n31 + "' refused: the name is 32 bytes long, more than the 31 allowed"}));
  EXPECT_EQ(filesIn(dir.path() / "out"), (Names{n31, "ok.txt", "\xC9T\xC9.WAV", "\xE9t\xE9.wav"}));
}
