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
  for (const auto& e : fs::directory_iterator(dir)) out[e.path().filename().string()] = sha256Hex(readFile(e.path()));
  return out;
}

}  // namespace

// "tool": 2-D textures "first" (tiled), "target" (an EDRAM format, skipped), "mips" (DXT5,
// seven levels) and "a4" (A4R4G4B4, written opaque), which all write the base name so the last
// one wins; cubes "sky" (one level) and "env" (five levels, wholly in the packed tail); user
// data "data" and "empty"; a volume texture and an index buffer, not written. "tail": a small
// packed 2-D texture is read from its tail and named miptail; a linear one after it takes the
// plain name.
TEST(XprToTga, WritesTheKnownFilesAndLines) {
  const struct { const char* bundle; std::string printed, errors; const char* files; } cases[] = {
      {"xpr/tool.xpr.gz", "   1: sky (Cubemap)\n   3: env (Cubemap)\n", "   7: texture format 16_16_EDRAM cannot be converted; skipped\n",
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
