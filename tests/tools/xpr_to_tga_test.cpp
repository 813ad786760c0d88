// xpr2tga end to end on a bundle of every kind of resource (tests/data/xpr/tool.xpr.gz):
// the files it writes pinned by SHA-256, its printed lines, the failure box, and the
// program and the library export writing the same.
#include "tools/xpr_to_tga.h"

#include <dlfcn.h>
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
  const std::map<std::string, std::string> expected = {
      {"base.tga", "e70c4d6ac9e8d6397eac5f82577e4dfa7576b519dfb11eb98b7d5bcc8295c455"},
      {"bundle.xpr", sha256Hex(loadData("xpr/tool.xpr.gz"))},
      {"data.bin", "dcda9f977e0c5854c266814bb31aa9349a3dde60e918d1e9b9a8e240c7078d31"},
      {"empty.bin", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"envXN_miptail.tga", "e243e5a971ff99eae8975561583008fb8254a10df0076152d9d8a1d401e17691"},
      {"envXP_miptail.tga", "e61902e92ec60235c16da796d825e95df6edb0907296b6fd70be7868a53fb93f"},
      {"envYN_miptail.tga", "38b6faa760115ace11960671668b312c109c9a18e92bd0f0cb29079963892a67"},
      {"envYP_miptail.tga", "da7fbc7a35de3611c7bc7628bfeee743f95a07ce410eadff2aabc1b2f19e82f2"},
      {"envZN_miptail.tga", "3c054fc215903af16d33a934e730d3c52f50f59778b719319a4fd8b657aca8ad"},
      {"envZP_miptail.tga", "9e19fadb895202ace592936e1fe0d48d39509dab4f03227a596ae98bf8974540"},
      {"skyXN.tga", "fd4c4895038f7e57484315f6c736d62bc93efc072d7f261aa18a0bf5ab815d31"},
      {"skyXP.tga", "fe96df210d5864b36bd36cd6ba4e805bfcb6780758b705c7aa7a446766887584"},
      {"skyYN.tga", "b60a3f10cbd9375b78a7b57c0efb90f97cd5889e8d8aeb54309d2c57d11b3dae"},
      {"skyYP.tga", "9cea4c00a9d224f629f48014c990fada0eb6a37496333d8ae217a0f11a87f6e5"},
      {"skyZN.tga", "30a362dc85407a7ef5032a73160bc4c00e6157143772f72bf16ca73647a205cd"},
      {"skyZP.tga", "353797d945f4a1e02119e7c4c9d4359f7d5e44cf154da243156d099aab9dc342"},
  };
  EXPECT_EQ(filesIn(dir.path()), expected);
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

TEST(XprToTga, TheProgramAndTheLibraryExportWriteTheSameFiles) {
  ScratchDir dir;
  writeFile(dir.file("bundle.xpr"), loadData("xpr/tool.xpr.gz"));
  fs::create_directory(dir.path() / "cli");
  fs::create_directory(dir.path() / "lib");
  RunResult cli;
  {
    InFolder in(dir.path() / "cli");
    cli = runCli({"xpr2tga", dir.file("bundle.xpr"), "base"});
  }
  EXPECT_EQ(cli.status, 0) << cli.err;
  EXPECT_EQ(cli.out, "   1: sky (Cubemap)\n   3: env (Cubemap)\n");

  void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  auto xpr2tga = reinterpret_cast<void (*)(const char*, const char*)>(dlsym(lib, "xpr2tga"));
  ASSERT_NE(xpr2tga, nullptr);
  {
    InFolder in(dir.path() / "lib");
    xpr2tga(dir.file("bundle.xpr").c_str(), "base");
    xpr2tga("missing.xpr", "base");  // prints, shows its box, returns
  }
  dlclose(lib);
  EXPECT_EQ(filesIn(dir.path() / "cli"), filesIn(dir.path() / "lib"));
  EXPECT_EQ(filesIn(dir.path() / "cli").size(), 15u);

  auto broken = runCli({"xpr2tga", dir.file("missing.xpr"), "base"});
  EXPECT_EQ(broken.status, 0);
  EXPECT_EQ(broken.out, "File <" + dir.file("missing.xpr") + "> not found\n");
  EXPECT_EQ(broken.err, "XPR Object Creation Error:  Unable to create XPR Resource Object\n");
}
