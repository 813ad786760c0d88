// xpr2tga end to end: file names, the cube line, the level and tail rules, user data, the
// channel masks, skipped formats, the failure box, the program and the library export.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tools/messages.h"
#include "xbox/xpr_bundle.h"
#include "support/test_support.h"
#include "support/xpr_writer.h"
#include "tools/xpr_to_tga.h"

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

// An A8R8G8B8 level whose texel words are 0xAARRGGBB = f(x, y, seed), little-endian rows.
std::vector<std::uint8_t> argbLevel(std::uint32_t w, std::uint32_t h, std::uint32_t seed) {
  std::vector<std::uint8_t> out;
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) appendU32(out, 0x80000000u | seed << 24 | (x * 9) << 16 | (y * 5) << 8 | seed * 7);
  return out;
}

XprTexture argbTexture(std::uint32_t w, std::uint32_t h, std::uint32_t levels, std::uint32_t seed, bool tiled = true) {
  std::vector<std::vector<std::uint8_t>> chain;
  for (std::uint32_t l = 0; l < levels; ++l) chain.push_back(argbLevel(std::max(1u, w >> l), std::max(1u, h >> l), seed + l));
  return {.width = w, .height = h, .levels = levels, .format = 0x18280086 | (tiled ? 0x100u : 0u), .texels = {chain}};
}

// The TGA the tool writes for A8R8G8B8 texels: header with descriptor 0x28, then the words.
std::vector<std::uint8_t> expectedTga(std::uint32_t w, std::uint32_t h, const std::vector<std::uint8_t>& texels) {
  std::vector<std::uint8_t> out = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  appendU16(out, static_cast<std::uint16_t>(w));
  appendU16(out, static_cast<std::uint16_t>(h));
  out.push_back(32);
  out.push_back(0x28);
  out.insert(out.end(), texels.begin(), texels.end());
  return out;
}

std::string writeBundle(const ScratchDir& dir, const XprWriter& w, const std::string& name = "bundle.xpr") {
  writeFile(dir.file(name), w.build());
  return dir.file(name);
}

// Converts a bundle from inside `dir` with the base name "base".
void convertIn(const ScratchDir& dir, RecordingHost& host, const XprWriter& w, const std::string& name = "bundle.xpr") {
  const std::string bundle = writeBundle(dir, w, name);
  InFolder in(dir.path());
  xprToTga(host, bundle, "base");
}

// A cube whose level l of face f is argbLevel(..., seed + f * levels + l).
XprTexture argbCube(std::uint32_t side, std::uint32_t levels, std::uint32_t seed) {
  XprTexture cube = argbTexture(side, side, levels, 0);
  cube.cube = true;
  cube.texels.clear();
  for (std::uint32_t f = 0; f < 6; ++f) {
    cube.texels.emplace_back();
    for (std::uint32_t l = 0; l < levels; ++l) cube.texels.back().push_back(argbLevel(side >> l, side >> l, seed + f * levels + l));
  }
  return cube;
}

const char* const kFaces[] = {"XP", "XN", "YP", "YN", "ZP", "ZN"};

}  // namespace

TEST(XprToTga, TwoDimensionalTexturesShareTheBaseNameSoTheLastOneWins) {
  ScratchDir dir;
  XprWriter w;
  w.addTexture("first", argbTexture(40, 24, 1, 1));
  w.addTexture("second", argbTexture(24, 40, 1, 2, false));
  RecordingHost host;
  convertIn(dir, host, w);
  EXPECT_EQ(readFile(dir.file("base.tga")), expectedTga(24, 40, argbLevel(24, 40, 2)));
  EXPECT_TRUE(host.printed.empty());
  EXPECT_TRUE(host.boxes.empty());
}

TEST(XprToTga, CubeTexturesPrintTheirLineAndWriteSixFacesNamedAfterThemselves) {
  ScratchDir dir;
  XprWriter w;
  w.addTexture("sky", argbCube(32, 1, 10));
  w.addTexture("ground", argbTexture(8, 40, 1, 3));
  // A packed cube writes each face from its own tail; "TX3D" is a type the tool skips.
  w.addOther(0x54583344, "volume", {});
  w.addTexture("env", argbCube(16, 5, 20));
  RecordingHost host;
  convertIn(dir, host, w);
  EXPECT_EQ(host.printed, "   0: sky (Cubemap)\n   3: env (Cubemap)\n");
  for (std::uint32_t f = 0; f < 6; ++f) {
    EXPECT_EQ(readFile(dir.file(std::string("sky") + kFaces[f] + ".tga")), expectedTga(32, 32, argbLevel(32, 32, 10 + f))) << f;
    EXPECT_EQ(readFile(dir.file(std::string("env") + kFaces[f] + "_miptail.tga")),
              expectedTga(16, 16, argbLevel(16, 16, 20 + f * 5))) << f;
  }
  EXPECT_EQ(readFile(dir.file("base.tga")), expectedTga(8, 40, argbLevel(8, 40, 3)));
}

TEST(XprToTga, OnlyTheTopLevelIsWritten) {
  ScratchDir dir;
  XprWriter w;
  w.addTexture("mips", argbTexture(64, 64, 7, 4));
  RecordingHost host;
  convertIn(dir, host, w);
  EXPECT_EQ(readFile(dir.file("base.tga")), expectedTga(64, 64, argbLevel(64, 64, 4)));
  std::size_t files = 0;
  for (const auto& entry : fs::directory_iterator(dir.path())) files += entry.path().extension() == ".tga";
  EXPECT_EQ(files, 1u);
}

TEST(XprToTga, ASmallPackedTextureIsReadFromItsTailAndNamedMiptail) {
  ScratchDir dir;
  RecordingHost host;
  XprWriter w;
  w.addTexture("small", argbTexture(16, 16, 5, 5));
  convertIn(dir, host, w);
  EXPECT_FALSE(fileExists(dir.file("base.tga")));
  EXPECT_EQ(readFile(dir.file("base_miptail.tga")), expectedTga(16, 16, argbLevel(16, 16, 5)));

  // One level is never a tail, whatever the packed flag says.
  XprWriter single;
  single.addTexture("one", argbTexture(16, 16, 1, 6));
  convertIn(dir, host, single, "single.xpr");
  EXPECT_EQ(readFile(dir.file("base.tga")), expectedTga(16, 16, argbLevel(16, 16, 6)));

  // A linear texture is not untiled, so the tail is read from its start, where level 1
  // (at texel 8, 0) and level 2 (at texel 4, 0) lie: the game's converter did the same.
  XprWriter linear;
  linear.addTexture("flat", argbTexture(16, 16, 5, 7, false));
  convertIn(dir, host, linear, "linear.xpr");
  const auto tga = readFile(dir.file("base_miptail.tga"));
  ASSERT_EQ(tga.size(), 18u + 16 * 16 * 4);
  EXPECT_EQ(getU32(tga, 18 + 8 * 4), getU32(argbLevel(8, 8, 8), 0));
  EXPECT_EQ(getU32(tga, 18 + 4 * 4), getU32(argbLevel(4, 4, 9), 0));
}

TEST(XprToTga, UserDataIsWrittenByteForByte) {
  ScratchDir dir;
  std::vector<std::uint8_t> bytes(1000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + 5);
  XprWriter w;
  w.addUser("data", bytes);
  w.addUser("empty", {});
  w.addOther(0x49425546, "indices", {1, 2, 3, 4});  // "IBUF": not written
  RecordingHost host;
  convertIn(dir, host, w);
  EXPECT_EQ(readFile(dir.file("data.bin")), bytes);
  EXPECT_TRUE(readFile(dir.file("empty.bin")).empty());
  EXPECT_FALSE(fileExists(dir.file("indices.bin")));
  EXPECT_FALSE(fileExists(dir.file("base.tga")));
}

TEST(XprToTga, ChannelMasksDropWhatAFormatDoesNotHave) {
  EXPECT_EQ(xprChannelMask(0x04900002), 0xFF000000u);  // looked up with the tiled bit set
  EXPECT_EQ(xprChannelMask(0x04900102), 0xFF000000u);
  EXPECT_EQ(xprChannelMask(0x1828014F), 0x00FFFFFFu);
  EXPECT_EQ(xprChannelMask(0x1A200171), 0x00FFFF00u);
  EXPECT_EQ(xprChannelMask(0x2DA2AB5E), 0x00FF0000u);
  EXPECT_EQ(xprChannelMask(0x1A200152), 0xFFFFFFFFu);
  EXPECT_EQ(xprChannelMask(0x18280186), 0xFFFFFFFFu);

}

TEST(XprToTga, FormatsWithoutTextureDataAreSkippedWithALineAndTheWalkGoesOn) {
  XprTexture edram = argbTexture(32, 32, 1, 0);
  edram.format = 0x1A20000D;  // 16_16_EDRAM
  edram.texels.clear();
  // A4R4G4B4 has alpha, but the game's converter writes it opaque.
  const XprTexture a4{.width = 3, .format = 0x1828014F, .texels = {{{0x21, 0x43, 0x65, 0x87, 0xA9, 0x0B}}}};  // 0x4321, 0x8765, 0x0BA9
  ScratchDir dir;
  XprWriter w;
  w.addTexture("target", edram);
  w.addTexture("a4", a4);
  RecordingHost host;
  convertIn(dir, host, w);
  EXPECT_EQ(host.printedErrors, "   0: texture format 16_16_EDRAM cannot be converted; skipped\n");
  EXPECT_EQ(readFile(dir.file("base.tga")),
            expectedTga(3, 1, {0x11, 0x22, 0x33, 0xFF, 0x55, 0x66, 0x77, 0xFF, 0x99, 0xAA, 0xBB, 0xFF}));
}

TEST(XprToTga, ABundleThatCannotBeLoadedShowsTheBoxAndWritesNothing) {
  ScratchDir dir;
  RecordingHost host;
  xprToTga(host, dir.file("nothing.xpr"), dir.file("tex"));
  EXPECT_EQ(host.printed, "File <" + dir.file("nothing.xpr") + "> not found\n");
  ASSERT_EQ(host.boxes.size(), 1u);
  EXPECT_EQ(host.boxes[0], (RecordingHost::Box{"XPR Object Creation Error", " Unable to create XPR Resource Object"}));
  auto wrong = XprWriter().build();
  wrong[3] = '1';
  writeFile(dir.file("wrong.xpr"), wrong);
  host.printed.clear();
  xprToTga(host, dir.file("wrong.xpr"), dir.file("tex"));
  EXPECT_EQ(host.printed, "Invalid Xbox Packed Resource (.xpr) file: Magic = 0x58505231\n");
  EXPECT_EQ(host.boxes.size(), 2u);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(XprToTga, TheProgramAndTheLibraryExportWriteTheSameFiles) {
  ScratchDir dir;
  XprWriter w;
  w.addTexture("box", argbCube(16, 1, 3));
  w.addUser("notes", {9, 8, 7});
  w.addTexture("tex", argbTexture(20, 12, 1, 4));
  const std::string bundle = writeBundle(dir, w);
  fs::create_directory(dir.path() / "cli");
  fs::create_directory(dir.path() / "lib");

  RunResult cli;
  {
    InFolder in(dir.path() / "cli");
    cli = runCli({"xpr2tga", bundle, "base"});
  }
  EXPECT_EQ(cli.status, 0) << cli.err;
  EXPECT_EQ(cli.out, "   0: box (Cubemap)\n");

  void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  using Export = void (*)(const char*, const char*);
  auto xpr2tga = reinterpret_cast<Export>(dlsym(lib, "xpr2tga"));
  ASSERT_NE(xpr2tga, nullptr);
  {
    InFolder in(dir.path() / "lib");
    xpr2tga(bundle.c_str(), "base");
    xpr2tga("missing.xpr", "base");  // prints, shows its box, returns
  }
  dlclose(lib);

  for (const char* name : {"boxXP.tga", "boxZN.tga", "notes.bin", "base.tga"}) {
    const auto fromCli = readFile(dir.path() / "cli" / name);
    EXPECT_FALSE(fromCli.empty()) << name;
    EXPECT_EQ(fromCli, readFile(dir.path() / "lib" / name)) << name;
  }
  EXPECT_EQ(readFile(dir.path() / "cli" / "base.tga"), expectedTga(20, 12, argbLevel(20, 12, 4)));

  auto broken = runCli({"xpr2tga", dir.file("missing.xpr"), "base"});
  EXPECT_EQ(broken.status, 0);
  EXPECT_EQ(broken.out, "File <" + dir.file("missing.xpr") + "> not found\n");
  EXPECT_EQ(broken.err, "XPR Object Creation Error:  Unable to create XPR Resource Object\n");
}
