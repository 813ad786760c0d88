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
class InFolder {
 public:
  explicit InFolder(const fs::path& dir) : saved_(fs::current_path()) { fs::current_path(dir); }
  ~InFolder() { fs::current_path(saved_); }

 private:
  fs::path saved_;
};

std::map<std::string, std::string> filesIn(const fs::path& dir) {
  std::map<std::string, std::string> out;
  for (const auto& e : fs::directory_iterator(dir)) out[e.path().filename().string()] = sha256Hex(readFile(e.path()));
  return out;
}

}  // namespace

// The bundle: 2-D textures "first" (tiled), "target" (an EDRAM format, skipped), "mips"
// (DXT5, seven levels) and "a4" (A4R4G4B4, written opaque), which all write the base name
// so the last one wins; cubes "sky" (one level) and "env" (five levels, wholly in the packed
// tail); user data "data" and "empty"; a volume texture and an index buffer, not written.
TEST(XprToTga, WritesTheKnownFilesAndLines) {
  ScratchDir dir;
  writeFile(dir.file("bundle.xpr"), loadData("xpr/tool.xpr.gz"));
  RecordingHost host;
  {
    InFolder in(dir.path());
    xprToTga(host, dir.file("bundle.xpr"), "base");
  }
  EXPECT_EQ(host.printed, "   1: sky (Cubemap)\n   3: env (Cubemap)\n");
  EXPECT_EQ(host.printedErrors, "   7: texture format 16_16_EDRAM cannot be converted; skipped\n");
  EXPECT_TRUE(host.boxes.empty());
  auto files = filesIn(dir.path());
  files.erase("bundle.xpr");
  std::string listing;
  for (const auto& [name, digest] : files) listing += name + " " + digest + "\n";
  EXPECT_EQ(sha256Hex(std::span(reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size())),
            "d26cc466061f2f49f50153f1956a2a87506cdd1e2df2013ef713f4feb12b6bc5");
}

// A small packed 2-D texture is read from its tail and named so; a linear one after it
// takes the plain name.
TEST(XprToTga, SmallPackedTexturesAreNamedMiptail) {
  ScratchDir dir;
  writeFile(dir.file("tail.xpr"), loadData("xpr/tail.xpr.gz"));
  RecordingHost host;
  {
    InFolder in(dir.path());
    xprToTga(host, "tail.xpr", "base");
  }
  const auto files = filesIn(dir.path());
  EXPECT_EQ(files.at("base_miptail.tga"), "0cdc0a2d2b29031255592d2f277da69f15343f39e0dccae33179fdfaacd6a528");
  EXPECT_EQ(files.size(), 2u);
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
