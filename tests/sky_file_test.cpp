#include "tools/sky_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "tools/messages.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Box = RecordingHost::Box;

std::vector<std::uint8_t> zlibInflate(const std::uint8_t* data, std::size_t size, std::size_t expected) {
  std::vector<std::uint8_t> out(expected);
  uLongf length = static_cast<uLongf>(expected);
  EXPECT_EQ(uncompress(out.data(), &length, data, static_cast<uLong>(size)), Z_OK);
  EXPECT_EQ(length, expected);
  return out;
}

// Pixel bytes of (row, column) of a 4800-wide image starting at byte 18 of `tga`.
const std::uint8_t* skyPixel(const std::vector<std::uint8_t>& tga, int row, int column) {
  return &tga[18 + (static_cast<std::size_t>(row) * 4800 + column) * 4];
}

struct Member {
  std::string name;
  std::uint32_t offset, compressed, size;
  std::vector<std::uint8_t> content;
};

// Walks the sky file's directory by hand and inflates every member.
std::vector<Member> readMembers(const std::vector<std::uint8_t>& file) {
  std::vector<Member> out;
  const std::uint32_t dir = getU32(file, 12);
  for (std::uint32_t i = 0; i < getU32(file, 8); ++i) {
    const std::size_t rec = dir + i * 64;
    EXPECT_EQ(getU32(file, rec), 0u);
    Member m;
    m.name = reinterpret_cast<const char*>(&file[rec + 4]);
    for (std::size_t b = rec + 4 + m.name.size(); b < rec + 36; ++b) EXPECT_EQ(file[b], 0) << m.name;
    m.offset = getU32(file, rec + 36);
    m.compressed = getU32(file, rec + 40);
    m.size = getU32(file, rec + 44);
    EXPECT_EQ(getU32(file, rec + 48), 2u) << m.name;
    for (int w = 0; w < 3; ++w) EXPECT_EQ(getU32(file, rec + 52 + 4 * w), 0u) << m.name;
    if (m.offset > file.size() || m.compressed > file.size() - m.offset) {
      ADD_FAILURE() << m.name << " lies outside the file";
      break;
    }
    m.content = zlibInflate(&file[m.offset], m.compressed, m.size);
    out.push_back(std::move(m));
  }
  return out;
}

struct SkyFileFixture : ::testing::Test {
  ScratchDir dir;
  RecordingHost host;
  std::vector<std::uint8_t> preview = loadData("sky/sky_preview_512x35_top.tga.gz");
  std::vector<std::uint8_t> sky = loadData("sky/sky_4800x320_top.tga.gz");
};

}  // namespace

TEST_F(SkyFileFixture, RealSkyGivesTheGameLayout) {
  ASSERT_EQ(preview.size(), 71698u);
  writeFile(dir.file("preview.tga"), preview);
  writeFile(dir.file("dusk.tga"), sky);
  createSkyFile(host, dir.file("preview.tga"), dir.file("dusk.tga"), dir.path().string(), 2);
  EXPECT_TRUE(host.boxes.empty());
  const auto file = readFile(dir.file("dusk.sky"));

  const auto members = readMembers(file);
  ASSERT_EQ(members.size(), 95u);
  std::uint64_t d = 0;
  for (const auto& m : members) d += m.compressed;
  EXPECT_EQ(std::string(file.begin(), file.begin() + 4), "ARC0");
  EXPECT_EQ(getU32(file, 4), 16 + d + 6080);
  EXPECT_EQ(getU32(file, 8), 95u);
  EXPECT_EQ(getU32(file, 12), 16 + d);
  EXPECT_EQ(file.size(), 16 + d + 6080);

  std::uint32_t offset = 16;
  for (int n = 1; n <= 95; ++n) {
    const auto& m = members[n - 1];
    EXPECT_EQ(m.name, n == 95 ? std::string("sky.prv") : "_s_k_y_" + std::to_string(n) + ".tga");
    EXPECT_EQ(m.offset, offset) << m.name;
    offset += m.compressed;
    EXPECT_EQ(m.size, n <= 19 ? 262162u : n <= 94 ? 16402u : 71698u) << m.name;
    // Members are zlib's default-level stream of the content, byte for byte.
    const auto expected = zlibCompress(m.content);
    EXPECT_TRUE(std::equal(file.begin() + m.offset, file.begin() + m.offset + m.compressed, expected.begin(),
                           expected.end()))
        << m.name;
  }

  const std::vector<std::uint8_t> header256 = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0x20, 0x20};
  const std::vector<std::uint8_t> header64 = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 64, 0, 64, 0, 0x20, 0x20};
  // Member 1: rows 0-255, columns 0-255; member 7: columns 1536-1791.
  for (int n : {1, 7}) {
    const auto& tile = members[n - 1].content;
    EXPECT_TRUE(std::equal(header256.begin(), header256.end(), tile.begin()));
    for (int r : {0, 100, 255})
      EXPECT_TRUE(std::equal(tile.begin() + 18 + r * 1024, tile.begin() + 18 + (r + 1) * 1024,
                             skyPixel(sky, r, 256 * (n - 1))))
          << "member " << n << " row " << r;
  }
  // Member 19: columns 4608-4799 then 64 zero pixels in every row.
  const auto& last = members[18].content;
  for (int r = 0; r < 256; ++r) {
    const auto row = last.begin() + 18 + r * 1024;
    ASSERT_TRUE(std::equal(row, row + 768, skyPixel(sky, r, 4608))) << "row " << r;
    ASSERT_TRUE(std::all_of(row + 768, row + 1024, [](std::uint8_t b) { return b == 0; })) << "row " << r;
  }
  // Member 20's first row is row 256, columns 0-63; member 94's last row is row 319, columns 4736-4799.
  const auto& first = members[19].content;
  const auto& small = members[93].content;
  EXPECT_TRUE(std::equal(header64.begin(), header64.end(), first.begin()));
  EXPECT_TRUE(std::equal(first.begin() + 18, first.begin() + 18 + 256, skyPixel(sky, 256, 0)));
  EXPECT_TRUE(std::equal(small.end() - 256, small.end(), skyPixel(sky, 319, 4736)));
  EXPECT_TRUE(std::equal(members[50].content.begin() + 18 + 10 * 256, members[50].content.begin() + 18 + 11 * 256,
                         skyPixel(sky, 266, 64 * 31)));
  EXPECT_EQ(members[94].content, preview);
}

TEST_F(SkyFileFixture, BytesDoNotDependOnTheThreadCount) {
  auto pixels = patternPixels(4800, 320, 5);
  preview.insert(preview.end(), {'t', 'a', 'i', 'l'});  // bytes after the pixels are kept
  const auto one = buildSkyFile(preview, pixels, 1);
  EXPECT_EQ(buildSkyFile(preview, pixels, 2), one);
  EXPECT_EQ(buildSkyFile(preview, pixels, 5), one);
  EXPECT_EQ(readMembers(one).at(94).content, preview);
}

TEST_F(SkyFileFixture, WrongSizesGiveTheirBoxAndNoFile) {
  writeFile(dir.file("preview.tga"), preview);
  writeFile(dir.file("sky.tga"), sky);
  writeFile(dir.file("small.tga"), makeTga(512, 36, 32, 0x20, {}));
  writeFile(dir.file("narrow.tga"), makeTga(4799, 320, 32, 0x20, {}));
  const std::string folder = dir.path().string();

  // Swapped arguments: the preview is checked first and the sky is never opened.
  createSkyFile(host, dir.file("sky.tga"), dir.file("preview.tga"), folder, 1);
  createSkyFile(host, dir.file("small.tga"), dir.file("absent.tga"), folder, 1);
  EXPECT_EQ(host.boxes, (std::vector<Box>(2, {messages::kInvalidTgaCaption, messages::kInvalidPreviewText})));
  host.boxes.clear();
  createSkyFile(host, dir.file("preview.tga"), dir.file("narrow.tga"), folder, 1);
  createSkyFile(host, dir.file("preview.tga"), dir.file("small.tga"), folder, 1);
  EXPECT_EQ(host.boxes, (std::vector<Box>(2, {messages::kInvalidTgaCaption, messages::kInvalidMainSkyText})));
  for (const char* name : {"preview.sky", "sky.sky", "narrow.sky", "small.sky"})
    EXPECT_FALSE(fileExists(dir.file(name))) << name;
}

TEST_F(SkyFileFixture, OutputNameRules) {
  writeFile(dir.file("preview.tga"), preview);
  writeFile(dir.file("DUSK.TGA"), sky);
  writeFile(dir.file("a.tga.tga"), sky);
  createSkyFile(host, dir.file("preview.tga"), dir.file("DUSK.TGA"), dir.path().string(), 2);
  EXPECT_TRUE(fileExists(dir.file("DUSK.TGA.sky")));
  // A folder given with its separator doubles it, which the file system accepts.
  createSkyFile(host, dir.file("preview.tga"), dir.file("a.tga.tga"), dir.prefix(), 2);
  EXPECT_TRUE(fileExists(dir.file("a.tga.sky")));
  EXPECT_TRUE(host.boxes.empty());
}

TEST_F(SkyFileFixture, UnusableInputsAreErrorsAndWriteNothing) {
  writeFile(dir.file("preview.tga"), preview);
  auto shortSky = sky;
  shortSky.resize(sky.size() - 1);
  writeFile(dir.file("short.tga"), shortSky);
  writeFile(dir.file("stub.tga"), {0, 0, 2});
  const std::string folder = dir.path().string();
  auto kindOf = [&](const std::string& previewPath, const std::string& skyPath) {
    try {
      createSkyFile(host, previewPath, skyPath, folder, 1);
    } catch (const Error& e) {
      return e.kind();
    }
    ADD_FAILURE() << previewPath << ", " << skyPath << " were accepted";
    return ErrorKind::Corrupt;
  };
  EXPECT_EQ(kindOf(dir.file("preview.tga"), dir.file("short.tga")), ErrorKind::Truncated);
  EXPECT_EQ(kindOf(dir.file("stub.tga"), dir.file("short.tga")), ErrorKind::Truncated);
  EXPECT_EQ(kindOf(dir.file("absent.tga"), dir.file("short.tga")), ErrorKind::Io);
  EXPECT_EQ(kindOf(dir.file("preview.tga"), dir.file("absent.tga")), ErrorKind::Io);
  EXPECT_TRUE(host.boxes.empty());
  EXPECT_FALSE(fileExists(dir.file("short.sky")));

  // A sky path without a separator fails before the output is opened.
  writeFile(dir.file("plain.tga"), sky);
  auto cwd = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  EXPECT_EQ(kindOf(dir.file("preview.tga"), "plain.tga"), ErrorKind::Argument);
  std::filesystem::current_path(cwd);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 4);
}
