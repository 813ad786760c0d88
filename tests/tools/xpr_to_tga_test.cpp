// xpr2tga end to end; the program and the export are compared in the program's tests.
#include "tools/xpr_to_tga.h"

#include <gtest/gtest.h>

#include <map>

#include "support/sha256.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

// Runs the tool inside `dir`, where names without a folder land.
struct InFolder {
  fs::path saved = fs::current_path();
  explicit InFolder(const fs::path& dir) { fs::current_path(dir); }
  ~InFolder() { fs::current_path(saved); }
};

std::map<std::string, std::string> filesIn(const fs::path& dir) {
  std::map<std::string, std::string> out;
  for (const auto& e : fs::recursive_directory_iterator(dir))
    if (e.is_regular_file()) out[fs::relative(e.path(), dir).string()] = sha256Hex(readFile(e.path()));
  return out;
}

void putU32BE(std::vector<std::uint8_t>& file, std::size_t at, std::size_t value) {
  for (std::size_t i = 0; i < 4; ++i) file[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

// `file` with resource `index` renamed. The new name goes after the header block, which
// moves only the data block, and texture addresses are offsets into that.
std::vector<std::uint8_t> renamed(std::vector<std::uint8_t> file, std::uint32_t index, const std::string& name) {
  const std::uint32_t headerSize = loadU32BE(&file[4]);
  const auto end = file.begin() + 12 + headerSize;
  file.insert(file.insert(end, name.begin(), name.end()) + static_cast<std::ptrdiff_t>(name.size()), 0);
  putU32BE(file, 4, headerSize + name.size() + 1);
  putU32BE(file, 16 + 16 * index + 12, headerSize);
  return file;
}

}  // namespace

// "tool": 2-D textures "first" (tiled), "target" (an EDRAM format, skipped), "mips" (DXT5,
// seven levels) and "a4" (A4R4G4B4, written opaque), which all write the base name so the last
// one wins; cubes "sky" (one level) and "env" (five levels, wholly in the packed tail); user
// data "data" and "empty"; a volume texture and an index buffer, not written. "tail": a small
// packed 2-D texture is read from its tail and named miptail; a linear one of the same size and
// levels after it gets the same suffix (the tail base comes from the size alone) and wins.
TEST(XprToTga, WritesTheKnownFilesAndLines) {
  const struct { const char* bundle; std::string printed, errors; const char* files; } cases[] = {
      {"xpr/tool.xpr.gz", "   1: sky (Cubemap)\n   3: env (Cubemap)\n", "   7: texture format k_16_16_EDRAM cannot be converted; skipped\n",
       "d26cc466061f2f49f50153f1956a2a87506cdd1e2df2013ef713f4feb12b6bc5"},
      {"xpr/tail.xpr.gz", "", "", "844342143fb660033fc5208ca27dd8a93e05dc3d13d71e74f0658dd457d4af8b"},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    writeFile(dir.file("bundle.xpr"), loadData(c.bundle));
    RecordingHost host;
    {
      InFolder in(dir.path());
      xprToTga(host, "bundle.xpr", "base");
    }
    EXPECT_EQ(host.printed, c.printed) << c.bundle;
    EXPECT_EQ(host.printedErrors, c.errors) << c.bundle;
    EXPECT_TRUE(host.boxes.empty()) << c.bundle;
    std::string listing;
    for (const auto& [name, digest] : filesIn(dir.path())) listing += name == "bundle.xpr" ? "" : name + " " + digest + "\n";
    EXPECT_EQ(sha256Hex(std::span(reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size())), c.files) << listing;
  }
}

TEST(XprToTga, ABundleThatCannotBeLoadedShowsTheBoxAndWritesNothing) {
  ScratchDir dir;
  auto wrong = loadData("xpr/tail.xpr.gz");
  wrong[3] = '1';
  writeFile(dir.file("wrong.xpr"), wrong);
  const std::pair<std::string, std::string> cases[] = {
      {dir.file("nothing.xpr"), "File <" + dir.file("nothing.xpr") + "> not found\n"},
      {dir.file("wrong.xpr"), "Invalid Xbox Packed Resource (.xpr) file: Magic = 0x58505231\n"},
  };
  for (const auto& [path, line] : cases) {
    RecordingHost host;
    xprToTga(host, path, dir.file("tex"));
    EXPECT_EQ(host.printed, line);
    EXPECT_EQ(host.boxes, (std::vector<RecordingHost::Box>{{"XPR Object Creation Error", " Unable to create XPR Resource Object"}}));
  }
  EXPECT_EQ(filesIn(dir.path()).size(), 1u);
}

// Names from the bundle that would leave the working folder, or hold a control character:
// that resource is skipped with a line naming it, everything else is written as usual.
TEST(XprToTga, NamesFromTheBundleStayInsideTheFolder) {
  const auto good = loadData("xpr/tool.xpr.gz");
  const std::uint32_t sky = 1, data = 4;  // the cube "sky" and the user data "data"
  ScratchDir dir;
  // Runs in ROOT/a/b/work, so that "../../x" would still land inside the scratch folder.
  const auto run = [&](const fs::path& root, const std::vector<std::uint8_t>& file, RecordingHost& host) {
    fs::create_directories(root / "a/b/work");
    writeFile(root / "a/b/work/bundle.xpr", file);
    InFolder in(root / "a/b/work");
    return xprToTga(host, "bundle.xpr", "base").refused;
  };
  RecordingHost plainHost;
  EXPECT_EQ(run(dir.path() / "plain", good, plainHost), 0u);
  const auto plain = filesIn(dir.path() / "plain");
  const std::string abs = (dir.path() / "abs").string();
  const struct { std::uint32_t index; std::string name, lost, error; } cases[] = {
      {data, "../../escape", "data.bin", "file name '../../escape.bin' refused: the name contains \"..\""},
      {data, abs, "data.bin", "file name '" + abs + ".bin' refused: the name contains a path separator"},
      {sky, "../", "sky", "file name '../XP.tga' refused: the name contains \"..\""},
      {sky, "esc\x1B", "sky", "file name 'esc\\x1BXP.tga' refused: the name contains a control character"},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    const fs::path root = dir.path() / std::to_string(i);
    RecordingHost host;
    EXPECT_EQ(run(root, renamed(good, c.index, c.name), host), 1u) << i;
    auto expected = plain;
    std::erase_if(expected, [&](const auto& file) { return file.first.starts_with("a/b/work/" + c.lost); });
    auto files = filesIn(root);
    files["a/b/work/bundle.xpr"] = expected["a/b/work/bundle.xpr"];
    EXPECT_EQ(files, expected) << i;
    EXPECT_NE(host.printedErrors.find("   " + std::to_string(c.index) + ": " + c.error + "; skipped\n"), std::string::npos)
        << host.printedErrors;
    EXPECT_EQ(host.printed.find("sky (Cubemap)") == std::string::npos, c.index == sky) << i;
  }
  EXPECT_FALSE(fs::exists(abs + ".bin"));

  // The program fails for a refused name.
  writeFile(dir.file("escape.xpr"), renamed(good, data, "../escape"));
  const auto cli = runCli({"xpr2tga", "-o", dir.file("cli/out"), dir.file("escape.xpr")});
  EXPECT_EQ(cli.status, 1);
  EXPECT_NE(cli.err.find("1 resource refused for its name"), std::string::npos) << cli.err;
  EXPECT_FALSE(fs::exists(dir.path() / "cli/escape.bin"));
}

// The game's tool passes over a file it cannot write; the program names it and fails, and
// the files that could be written are there.
TEST(XprToTga, TheProgramFailsForAFileItCouldNotWrite) {
  ScratchDir dir;
  writeFile(dir.file("tool.xpr"), loadData("xpr/tool.xpr.gz"));
  fs::create_directories(dir.path() / "out/data.bin");  // a folder where user data "data" goes
  const auto cli = runCli({"xpr2tga", "-o", dir.file("out"), dir.file("tool.xpr")});
  EXPECT_EQ(cli.status, 1);
  EXPECT_NE(cli.err.find("cannot write '" + (dir.path() / "out/data.bin").string() + "': it is a folder"),
            std::string::npos) << cli.err;
  EXPECT_NE(cli.err.find("3 textures were written as '" + (dir.path() / "out/tool.tga").string() +
                         "' and only the last is kept"), std::string::npos) << cli.err;
  EXPECT_TRUE(fs::exists(dir.path() / "out/tool.tga"));
  EXPECT_TRUE(fs::exists(dir.path() / "out/skyXP.tga"));

  // The single form (bundle names land in the current folder). Three textures write
  // base.tga, so four writes fail.
  fs::create_directories(dir.path() / "one/base.tga");
  fs::create_directories(dir.path() / "one/skyZN.tga");
  InFolder in(dir.path() / "one");
  const auto one = runCli({"xpr2tga", dir.file("tool.xpr"), "base"});
  EXPECT_EQ(one.status, 1);
  EXPECT_NE(one.err.find("cannot write 'base.tga': it is a folder (and 3 more failed writes)"), std::string::npos) << one.err;
  EXPECT_TRUE(fs::exists(dir.path() / "one/data.bin"));
}
