// The program's own rules around the tools: where outputs go, and that every failure to
// write one, or a refused input, ends with status 1 and a message naming the path.
#include <gtest/gtest.h>

#include <sstream>

#include "image/image_file.h"
#include "support/test_support.h"

using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

// The rows use relative paths, so that bare file names mean the scratch folder.
class InFolder {
 public:
  explicit InFolder(const fs::path& dir) : saved_(fs::current_path()) { fs::current_path(dir); }
  ~InFolder() { fs::current_path(saved_); }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

 private:
  fs::path saved_;
};

const std::string kRepo = std::string(VELLMARK_TEST_DATA_DIR) + "/../..";

// The inputs every row may use, in the current folder. "blocker" is a plain file, so no
// folder can be made below it, whoever runs the tests.
void writeInputs() {
  writeFile("good.btc", solidBtcFile(8, 1, {0x10, 0x20, 0x30, 0xFF}));
  writeFile("bad.btc", {'B', 'T', 'C', 'V', 1, 0, 1, 0});
  writeFile("-dash.btc", solidBtcFile(8, 1, {1, 2, 3, 4}));
  writeFile("bark.tga", readFile(dataPath("textures/tree_bark_320x240_rgb24_bottomup.tga")));
  writeFile("sky.tga", loadData("sky/sky_4800x320_bottom.tga.gz"));
  writeFile("preview.tga", loadData("sky/sky_preview_512x35_top.tga.gz"));
  writeFile("blocker", {0});
  fs::copy_file(kRepo + "/samples/sample_course.arc", "course.arc");
  fs::copy_file(dataPath("xfiles/assimp/test_cube_text.x"), "cube.x");
  fs::copy_file(kRepo + "/fuzz/corpus/xpr/argb_tail_user.xpr", "bundle.xpr");
  auto stream = readFile(kRepo + "/fuzz/corpus/panorama_stream/tiled_300x260");  // first byte picks the builder
  writeFile("raw.pan", std::vector<std::uint8_t>(stream.begin() + 1, stream.end()));
}

}  // namespace

TEST(ProgramRules, OutputsGoWhereTheRuleSaysAndFailuresAreLoud) {
  ScratchDir dir;
  InFolder in(dir.path());
  writeInputs();
  ASSERT_EQ(runCli({"extract", "course.arc", "lib"}).status, 0);

  const struct {
    const char* what;
    std::vector<std::string> args;
    int status;
    std::string said;                 // in standard error, or standard output for tallies
    std::vector<std::string> files;  // must exist afterwards
  } rows[] = {
      // Failures the tools pass over in silence.
      {"btc2tga into a missing folder", {"btc2tga", "good.btc", "nowhere/x.tga"}, 1, "'nowhere/x.tga'", {}},
      {"btc2tga refused", {"btc2tga", "bad.btc", "x.tga"}, 1, "'bad.btc': Invalid BTC File", {}},
      {"btc2tga writes no PNG", {"btc2tga", "good.btc", "x.png"}, 2, "'x.png'", {}},
      {"extract", {"extract", "course.arc", "blocker/e"}, 1, "'blocker/e'", {}},
      {"panorama", {"panorama", "lib/Panorama.lib", "blocker/p"}, 1, "'blocker/p'", {}},
      {"raw-panorama", {"raw-panorama", "raw.pan", "blocker/r"}, 1, "'blocker/r'", {}},
      {"sky-file", {"sky-file", "preview.tga", "sky.tga", "blocker/s"}, 1, "'blocker/s'", {}},
      {"sky-file refused", {"sky-file", "sky.tga", "preview.tga", "s"}, 1, "Invalid TGA File", {}},
      {"mesh", {"mesh", "cube.x", "blocker/m"}, 1, "'blocker/m'", {}},
      {"xpr2tga", {"xpr2tga", "bundle.xpr", "blocker/x/base"}, 1, "'blocker/x'", {}},
      {"flip-sky", {"flip-sky", "-o", "blocker/f", "sky.tga"}, 1, "'blocker/f'", {}},
      // Folders made when missing, with or without a trailing separator; bare names here.
      {"extract makes folders", {"extract", "course.arc", "new/deeper"}, 0, "", {"new/deeper/0.tga"}},
      {"extract --prefix", {"extract", "--prefix", "c_", "course.arc", "pre/"}, 0, "",
       {"pre/c_0.tga", "pre/c_7.vrt.txt", "pre/c_Panorama.lib"}},
      {"mesh names its files", {"mesh", "cube.x", "m/"}, 0, "", {"m/cube.x.XYZ", "m/cube.x.MAP"}},
      {"panorama", {"panorama", "lib/Panorama.lib", "p"}, 0, "", {"p/Panorama.tga"}},
      {"raw-panorama", {"raw-panorama", "raw.pan", "r/"}, 0, "", {"r/Panorama.tga"}},
      {"sky-file bare names", {"sky-file", "preview.tga", "sky.tga", "s2"}, 0, "", {"s2/sky.sky"}},
      {"flip-sky bare name", {"flip-sky", "-o", "skiesdir", "sky.tga"}, 0, "", {"skiesdir/sky.prvtga"}},
      {"xpr2tga into a folder", {"xpr2tga", "-o", "xo", "bundle.xpr"}, 0, "", {"xo/bundle_miptail.tga"}},
      {"-- ends the options", {"btc2tga", "--", "-dash.btc", "dash.tga"}, 0, "", {"dash.tga"}},
      // Usage, and inputs that cannot be used.
      {"missing input", {"btc2tga", "absent.btc", "x.tga"}, 2, "cannot open input file 'absent.btc'", {}},
      {"unknown option", {"extract", "--bogus", "course.arc", "e"}, 2, "--bogus", {}},
      {"IN OUT takes two", {"btc2tga", "good.btc", "bad.btc", "x.tga"}, 2, "-o DIR", {}},
      // Batches go on after a failure and count.
      {"btc2tga batch", {"btc2tga", "-o", "batch", "good.btc", "bad.btc"}, 1, "1 converted, 1 failed",
       {"batch/good.tga"}},
      {"--no-clobber", {"btc2tga", "--no-clobber", "-o", "batch", "good.btc"}, 1, "'batch/good.tga' exists", {}},
      {"tga2btc batch", {"tga2btc", "-o", "tb", "bark.tga", "absent.tga"}, 1, "1 converted, 1 failed",
       {"tb/bark.btc"}},
      {"one name twice", {"tga2btc", "-o", "tb", "bark.tga", "./bark.tga"}, 2, "both", {}},
      // Pictures: by content in, by extension out; PNG beside the tools' TGA outputs.
      {"convert", {"convert", "good.btc", "c.png"}, 0, "", {"c.png"}},
      {"convert names no format", {"convert", "good.btc", "c.gif"}, 2, "'c.gif'", {}},
      {"convert refused", {"convert", "bad.btc", "c2.png"}, 1, "'bad.btc'", {}},
      {"convert batch", {"convert", "--to", "png", "bark.tga", "bad.btc", "cb"}, 1, "1 converted, 1 failed", {"cb/bark.png"}},
      {"convert bundle", {"convert", "bundle.xpr", "cx"}, 0, "", {"cx/tail_miptail.png"}},
      {"unpack --convert=png", {"unpack", "--convert=png", "course.arc", "up"}, 0, "", {"up/hull.btc.png", "up/scarecrow.tga.png"}},
      {"xpr2tga --png", {"xpr2tga", "--png", "-o", "xp", "bundle.xpr"}, 0, "", {"xp/bundle_miptail.png"}},
      {"panorama --png", {"panorama", "--png", "lib/Panorama.lib", "pp"}, 0, "", {"pp/Panorama.png"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const auto run = runCli(row.args);
    EXPECT_EQ(run.status, row.status) << run.err;
    EXPECT_NE((run.err + run.out).find(row.said), std::string::npos) << run.err << run.out;
    if (row.status != 0) {
      EXPECT_NE(run.err.find("vellmark: error: "), std::string::npos) << run.err;
    }
    for (const auto& f : row.files) EXPECT_TRUE(fileExists(f)) << f;
  }
  // The batch wrote the same bytes as the one-file form.
  ASSERT_EQ(runCli({"btc2tga", "good.btc", "single.tga"}).status, 0);
  EXPECT_EQ(readFile("batch/good.tga"), readFile("single.tga"));
  // Every PNG holds the pixels of its TGA, read by the plain reader of base/; a TGA made from a
  // PNG gives the same PNG pixels back.
  ASSERT_EQ(runCli({"convert", "cb/bark.png", "back.tga"}).status, 0);
  ASSERT_EQ(runCli({"convert", "back.tga", "back.png"}).status, 0);
  ASSERT_EQ(runCli({"unpack", "--convert", "course.arc", "ut"}).status, 0);
  for (const auto& [png, tga] : std::vector<std::pair<std::string, std::string>>{
           {"c.png", "single.tga"}, {"cx/tail_miptail.png", "xo/bundle_miptail.tga"}, {"up/hull.btc.png", "ut/hull.btc.tga"},
           {"up/scarecrow.tga.png", "ut/scarecrow.tga"}, {"pp/Panorama.png", "p/Panorama.tga"}, {"cb/bark.png", "bark.tga"},
           {"back.png", "back.tga"}})
    EXPECT_EQ(vellmark::decodeImage(readFile(png), png).pixels, vellmark::readTgaImage(readFile(tga), tga).pixels) << png;
}

TEST(ProgramRules, EverySubcommandHasHelpAndAnExample) {
  const auto list = runCli({"--list-subcommands"});
  ASSERT_EQ(list.status, 0);
  std::istringstream names(list.out);
  std::vector<std::string> all;
  for (std::string name; names >> name;) all.push_back(name);
  EXPECT_GE(all.size(), 12u);
  all.push_back("FlipTgaFile");  // an export's name is an alias
  for (const auto& name : all) {
    const auto help = runCli({name, "--help"});
    EXPECT_EQ(help.status, 0) << name;
    EXPECT_NE(help.out.find("Example:\n  vellmark " + (name == "FlipTgaFile" ? "flip-sky" : name)), std::string::npos)
        << name << help.out;
    EXPECT_EQ(runCli({"help", name}).out, help.out) << name;
  }
  for (const auto& version : {"-V", "--version"}) EXPECT_EQ(runCli({version}).out.rfind("vellmark ", 0), 0u);
  EXPECT_EQ(runCli({"mesh", "-V"}).out.rfind("vellmark ", 0), 0u);
}
