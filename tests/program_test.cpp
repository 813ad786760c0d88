// The vellmark program and libvellmark.so as users meet them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "support/test_support.h"

using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

// The exports the library is built with, with their ordinals, from the module definition.
std::map<std::string, int> definedExports() {
  std::ifstream def(std::string(VELLMARK_TEST_DATA_DIR) + "/../../src/exports/Vellmark.def");
  std::map<std::string, int> out;
  std::regex line(R"(^\s+(\w+)\s+@(\d+)\s*$)");
  std::smatch m;
  for (std::string s; std::getline(def, s);)
    if (std::regex_match(s, m, line)) out[m[1]] = std::stoi(m[2]);
  return out;
}

std::string commandOutput(const std::string& command) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  if (!p) return out;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0) out.append(buf.data(), n);
  pclose(p);
  return out;
}

}  // namespace

TEST(ExportTable, OrdinalsAreTheGameOnes) {
  const std::map<std::string, int> all = {{"BTC2TGA", 1}, {"CreatePanorama", 2}, {"CreateSkyFile", 3},
                                          {"CreateUncompressedPanorama", 4}, {"FlipTgaFile", 5},
                                          {"OpenDirectX", 6}, {"xpr2tga", 7}, {"ExtractMSCourse", 8}};
  auto defined = definedExports();
  ASSERT_FALSE(defined.empty());
  for (const auto& [name, ordinal] : defined) {
    ASSERT_TRUE(all.count(name)) << name;
    EXPECT_EQ(all.at(name), ordinal) << name;
  }
}

TEST(SharedLibrary, ExportsExactlyTheBuiltTools) {
  auto symbols = commandOutput("nm -D --defined-only '" + std::string(VELLMARK_SHARED_LIBRARY_PATH) + "'");
  std::set<std::string> exported;
  std::regex line(R"(^[0-9a-f]+ T (\S+)$)");
  std::smatch m;
  std::istringstream in(symbols);
  for (std::string s; std::getline(in, s);)
    if (std::regex_match(s, m, line)) exported.insert(m[1]);
  std::set<std::string> expected;
  for (const auto& [name, ordinal] : definedExports()) expected.insert(name);
  EXPECT_EQ(exported, expected);
}

TEST(SharedLibrary, FlipTgaFileMatchesTheProgramAndHandsThePathBack) {
  ScratchDir dir;
  auto input = makeTga(16, 320, 32, 0x00, patternPixels(16, 320, 9));
  writeFile(dir.file("lib.tga"), input);
  writeFile(dir.file("cli.tga"), input);

  void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  using Flip = void (*)(char*);
  auto flip = reinterpret_cast<Flip>(dlsym(lib, "FlipTgaFile"));
  ASSERT_NE(flip, nullptr);
  std::array<char, 4096> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%s", dir.file("lib.tga").c_str());
  flip(buffer.data());
  // The library runs inside this test program, so the folder is below the test's own folder.
  const fs::path testFolder = fs::read_symlink("/proc/self/exe").parent_path();
  const std::string libOutput = testFolder.string() + "/skies//lib.prvtga";
  EXPECT_EQ(std::string(buffer.data()), libOutput);

  // An error stays inside the library: printed, and the call returns.
  std::array<char, 64> noSeparator{};
  std::snprintf(noSeparator.data(), noSeparator.size(), "%s", "missing-file.tga");
  flip(noSeparator.data());
  EXPECT_STREQ(noSeparator.data(), "missing-file.tga");
  dlclose(lib);

  auto cli = runCli({"flip-sky", dir.file("cli.tga")});
  EXPECT_EQ(cli.status, 0) << cli.err;
  const fs::path cliFolder = fs::path(VELLMARK_CLI_PATH).parent_path() / "skies";
  const std::string cliOutput = cliFolder.string() + "//cli.prvtga";
  EXPECT_EQ(cli.err, "New TGA File: " + cliOutput + "\n");
  EXPECT_EQ(readFile(cliOutput), readFile(libOutput));
  fs::remove(cliOutput);
  fs::remove(libOutput);
}

TEST(Program, HelpVersionAndUsageErrors) {
  auto help = runCli({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("flip-sky"), std::string::npos);
  auto version = runCli({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("vellmark ", 0), 0u);
  auto sub = runCli({"help", "FlipTgaFile"});
  EXPECT_EQ(sub.status, 0);
  EXPECT_NE(sub.out.find("vellmark flip-sky SKY.tga"), std::string::npos);
  EXPECT_EQ(runCli({}).status, 2);
  EXPECT_EQ(runCli({"no-such-tool"}).status, 2);
  EXPECT_EQ(runCli({"help", "no-such-tool"}).status, 2);
  auto wrongCount = runCli({"flip-sky"});
  EXPECT_EQ(wrongCount.status, 2);
  EXPECT_NE(wrongCount.err.find("usage: vellmark flip-sky"), std::string::npos);
  EXPECT_EQ(runCli({"flip-sky", "a", "b"}).status, 2);
}

TEST(Program, ToolErrorsExitWithStatusTwo) {
  ScratchDir dir;
  auto missing = runCli({"FlipTgaFile", dir.file("absent.tga")});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err.rfind("vellmark: error: cannot open input file '", 0), 0u) << missing.err;

  auto valid = runCli({"flip-sky", dir.file("ok.tga")});
  EXPECT_EQ(valid.status, 2);
  writeFile(dir.file("ok.tga"), makeTga(4, 320, 32, 0x20, patternPixels(4, 320)));
  valid = runCli({"flip-sky", dir.file("ok.tga")});
  EXPECT_EQ(valid.status, 0);
  EXPECT_EQ(valid.err, "Valid TGA File: This sky tga is already in the correct format - No Action Taken\n");
}
