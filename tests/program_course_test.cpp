// The extract and sky-file subcommands and their exports in libvellmark.so.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <map>

#include "support/test_support.h"

using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

std::vector<std::uint8_t> zlibCompress(const std::vector<std::uint8_t>& data) {
  uLongf length = compressBound(static_cast<uLong>(data.size()));
  std::vector<std::uint8_t> out(length);
  compress(out.data(), &length, data.data(), static_cast<uLong>(data.size()));
  out.resize(length);
  return out;
}

std::vector<std::uint8_t> smallArchive() {
  std::vector<std::uint8_t> archive(16, 0);
  auto add = [&](const std::vector<std::uint8_t>& member) {
    auto packed = zlibCompress(member);
    archive.insert(archive.end(), packed.begin(), packed.end());
  };
  add(makeTga(8, 8, 32, 0x20, patternPixels(8, 8)));
  add({'n', 'a', 'p', 0, 1, 2, 3});
  add({'?', '?'});
  archive.insert(archive.end(), {0x78, 0x9C, 0xFF});  // a stream that does not inflate
  add({'R', 'I', 'F', 'F'});
  return archive;
}

std::map<std::string, std::vector<std::uint8_t>> filesIn(const fs::path& dir) {
  std::map<std::string, std::vector<std::uint8_t>> files;
  for (const auto& e : fs::directory_iterator(dir)) files[e.path().filename().string()] = readFile(e.path());
  return files;
}

struct Library {
  void* handle = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ~Library() {
    if (handle) dlclose(handle);
  }
  template <class F>
  F get(const char* name) {
    return reinterpret_cast<F>(dlsym(handle, name));
  }
};

}  // namespace

TEST(ProgramCourse, ExtractPrintsTheBoxAndOnlyOnRequestASummary) {
  ScratchDir dir;
  writeFile(dir.file("course.arc"), smallArchive());
  fs::create_directory(dir.file("cli"));
  fs::create_directory(dir.file("lib"));

  auto plain = runCli({"extract", dir.file("course.arc"), dir.file("cli") + "/"});
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(plain.out, "");
  EXPECT_EQ(plain.err, "Vellmark Warning: Please Note this Process takes about 2 minutes to complete.  Please be patient!\n");
  auto cli = filesIn(dir.file("cli"));
  EXPECT_EQ(cli.size(), 3u);
  EXPECT_TRUE(cli.count("0.tga") && cli.count("Panorama.lib") && cli.count("4.wav"));

  auto summary = runCli({"ExtractMSCourse", "--summary", dir.file("course.arc"), dir.file("cli") + "/"});
  EXPECT_EQ(summary.status, 0);
  EXPECT_EQ(summary.out,
            "members found: 5 (4 inflated, 1 did not inflate)\n"
            "files written: 1 tga, 0 tga from btc, 1 wav, 0 jpg, 0 vrt (each with .vrt.txt), 1 panorama (Panorama.lib)\n"
            "members skipped: 1 of unknown kind, 0 btc the converter refused, 1 did not inflate\n");

  Library lib;
  ASSERT_NE(lib.handle, nullptr) << dlerror();
  auto extract = lib.get<void (*)(const unsigned char*, int, const char*)>("ExtractMSCourse");
  ASSERT_NE(extract, nullptr);
  const auto archive = smallArchive();
  const std::string prefix = dir.file("lib") + "/";
  extract(archive.data(), static_cast<int>(archive.size()), prefix.c_str());
  EXPECT_EQ(filesIn(dir.file("lib")), cli);
  // Arguments it cannot use are reported, not crashed on.
  extract(nullptr, 5, prefix.c_str());
  extract(archive.data(), -1, prefix.c_str());

  EXPECT_EQ(runCli({"extract", dir.file("course.arc")}).status, 2);
  EXPECT_EQ(runCli({"extract", dir.file("course.arc"), "a", "b"}).status, 2);
  EXPECT_EQ(runCli({"extract", dir.file("absent.arc"), prefix}).status, 2);
}

TEST(ProgramCourse, SkyFileFromProgramAndLibraryAreTheSame) {
  ScratchDir dir;
  writeFile(dir.file("preview.tga"), makeTga(512, 35, 32, 0x20, patternPixels(512, 35, 2)));
  writeFile(dir.file("dusk.tga"), makeTga(4800, 320, 32, 0x20, patternPixels(4800, 320, 3)));
  fs::create_directory(dir.file("cli"));
  fs::create_directory(dir.file("lib"));

  auto run = runCli({"sky-file", dir.file("preview.tga"), dir.file("dusk.tga"), dir.file("cli")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");

  Library lib;
  ASSERT_NE(lib.handle, nullptr) << dlerror();
  auto create = lib.get<void (*)(const char*, const char*, const char*)>("CreateSkyFile");
  ASSERT_NE(create, nullptr);
  create(dir.file("preview.tga").c_str(), dir.file("dusk.tga").c_str(), dir.file("lib").c_str());
  const auto cliFile = readFile(dir.file("cli") + "/dusk.sky");
  EXPECT_EQ(readFile(dir.file("lib") + "/dusk.sky"), cliFile);
  EXPECT_EQ(cliFile.size(), getU32(cliFile, 12) + 95 * 64);

  auto swapped = runCli({"CreateSkyFile", dir.file("dusk.tga"), dir.file("preview.tga"), dir.file("cli")});
  EXPECT_EQ(swapped.status, 0);
  EXPECT_EQ(swapped.err, "Invalid TGA File: Sorry Preview Images must be 512 x 35 TGA Format\n");
  EXPECT_EQ(runCli({"sky-file", "a", "b"}).status, 2);
}
