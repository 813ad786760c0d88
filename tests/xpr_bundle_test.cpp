// The bundle reader: the file header and its two printed failures, the directory and
// texture-header swaps, and every way a bundle can point outside its blocks.
#include <gtest/gtest.h>

#include <functional>

#include "base/error.h"
#include "xbox/xpr_bundle.h"
#include "support/test_support.h"
#include "support/xpr_writer.h"
#include "tools/xpr_to_tga.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

XprTexture smallTexture(std::uint32_t format = 0x18280186) {
  return {.width = 40, .height = 8, .format = format, .texels = {{std::vector<std::uint8_t>(40 * 8 * 4, 0x5A)}}};
}

std::vector<std::uint8_t> sampleBundle() {
  XprWriter w;
  w.addTexture("wall", smallTexture());
  w.addUser("data", {1, 2, 3, 4, 5});
  w.addOther(0x56425546, "vb", {0xDE, 0xAD, 0xBE, 0xEF});  // "VBUF"
  return w.build();
}

}  // namespace

TEST(XprBundle, ReadsTheDirectoryAndSwapsOnlyWhatTheConsoleLoaderSwaps) {
  const auto file = sampleBundle();
  auto parsed = parseXprBundle(file, "bundle");
  ASSERT_TRUE(parsed.bundle);
  const XprBundle& b = *parsed.bundle;
  ASSERT_EQ(b.resourceCount, 3u);
  ASSERT_EQ(b.directory.size(), 3u);
  EXPECT_EQ(b.directory[0].type, kXprTypeTexture2D);
  EXPECT_EQ(b.directory[1].type, kXprTypeUser);
  EXPECT_EQ(b.directory[2].type, 0x56425546u);
  EXPECT_EQ(xprResourceName(b, b.directory[0]), "wall");
  EXPECT_EQ(xprResourceName(b, b.directory[2]), "vb");
  // The texture header is in host order now (its fields are read in every conversion
  // test); user data and unknown resources are not.
  EXPECT_EQ(xprTextureHeader(b, b.directory[0]).words[5], 0xFFFF0000u);
  const Bytes user = xprUserData(b, b.directory[1]);
  EXPECT_EQ(std::vector<std::uint8_t>(user.begin(), user.end()), (std::vector<std::uint8_t>{1, 2, 3, 4, 5}));
  const Bytes other = xprUserData(b, b.directory[2]);
  EXPECT_EQ(std::vector<std::uint8_t>(other.begin(), other.end()), (std::vector<std::uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
  // The data block is the file's, untouched.
  const std::uint32_t headerSize = loadU32BE(&file[4]);
  EXPECT_EQ(b.dataBlock, std::vector<std::uint8_t>(file.begin() + 12 + headerSize, file.end()));
}

TEST(XprBundle, ZeroResourcesLoadAsAnEmptyDirectory) {
  auto parsed = parseXprBundle(XprWriter().build(), "empty");
  ASSERT_TRUE(parsed.bundle);
  EXPECT_EQ(parsed.bundle->resourceCount, 0u);
  EXPECT_TRUE(parsed.bundle->directory.empty());
}

// The missing-file failure is checked with the tool's box in the xpr2tga tests.
TEST(XprBundle, PrintsTheWrongMagic) {
  ScratchDir dir;
  RecordingHost host;
  // A bundle written little-endian shows its magic byte-reversed.
  auto reversed = sampleBundle();
  std::reverse(reversed.begin(), reversed.begin() + 4);
  writeFile(dir.file("reversed.xpr"), reversed);
  EXPECT_FALSE(loadXprBundle(host, dir.file("reversed.xpr")));
  EXPECT_EQ(host.printed, "Invalid Xbox Packed Resource (.xpr) file: Magic = 0x32525058\n");

  // Five bytes are enough to tell a wrong magic.
  writeFile(dir.file("short.xpr"), {'X', 'P', 'R', '0', 0});
  host.printed.clear();
  EXPECT_FALSE(loadXprBundle(host, dir.file("short.xpr")));
  EXPECT_EQ(host.printed, "Invalid Xbox Packed Resource (.xpr) file: Magic = 0x58505230\n");
  EXPECT_TRUE(host.boxes.empty());
}

TEST(XprBundle, EveryTruncatedPrefixIsRejectedAndTrailingBytesAreIgnored) {
  const auto file = sampleBundle();
  for (std::size_t n = 0; n < file.size(); ++n) {
    std::vector<std::uint8_t> prefix(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n));
    prefix.shrink_to_fit();
    try {
      (void)parseXprBundle(prefix, "prefix");
      ADD_FAILURE() << "prefix of " << n << " bytes accepted";
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::Truncated) << n;
    }
  }
  auto longer = file;
  longer.insert(longer.end(), 100, 0xEE);
  auto parsed = parseXprBundle(longer, "longer");
  ASSERT_TRUE(parsed.bundle);
  EXPECT_EQ(parsed.bundle->dataBlock.size(), loadU32BE(&file[8]));
}

TEST(XprBundle, FieldsThatPointOutsideTheBlocksAreErrors) {
  const auto good = sampleBundle();
  const std::uint32_t headerSize = loadU32BE(&good[4]);
  auto withWord = [&](std::size_t at, std::uint32_t value) {
    auto f = good;
    for (std::size_t i = 0; i < 4; ++i) f[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    return f;
  };
  // Header-level faults are found on loading.
  EXPECT_THROW(parseXprBundle(withWord(4, headerSize + 1000000), "h"), Error);  // header block past the end
  EXPECT_THROW(parseXprBundle(withWord(8, 0xFFFFFFF0), "d"), Error);            // data block past the end
  EXPECT_THROW(parseXprBundle(withWord(12, 0x10000000), "count"), Error);       // directory past the header block
  EXPECT_THROW(parseXprBundle(withWord(12, headerSize / 16), "count"), Error);
  EXPECT_THROW(parseXprBundle(withWord(12 + 4 + 4, headerSize - 20), "texture header"), Error);
  // Entry faults are found when the entry is used.
  const std::size_t user = 12 + 4 + 16;
  auto badName = parseXprBundle(withWord(user + 12, headerSize), "name").bundle;
  EXPECT_THROW(xprResourceName(*badName, badName->directory[1]), Error);
  auto unterminated = parseXprBundle(withWord(user + 12, headerSize - 1), "name").bundle;
  unterminated->headerBlock.back() = 'x';
  EXPECT_THROW(xprResourceName(*unterminated, unterminated->directory[1]), Error);
  auto badUser = parseXprBundle(withWord(user + 8, headerSize), "user").bundle;
  EXPECT_THROW(xprUserData(*badUser, badUser->directory[1]), Error);
  auto wrapUser = parseXprBundle(withWord(user + 4, 0xFFFFFFFC), "user").bundle;
  EXPECT_THROW(xprUserData(*wrapUser, wrapUser->directory[1]), Error);
}

TEST(XprBundle, TextureAddressesOutsideTheDataBlockAreErrors) {
  auto convert = [](XprTexture t, std::uint8_t word7) {
    XprWriter w;
    w.addTexture("t", std::move(t));
    auto file = w.build();
    file[12 + w.resourceOffsets[0] + 28] |= word7;  // the pitch field's top bits
    file[12 + w.resourceOffsets[0] + 29] |= word7 ? 0xC0 : 0;
    auto b = parseXprBundle(file, "bundle").bundle;
    return convertXprTextureLevel(*b, xprTextureHeader(*b, b->directory[0]), 0, 0);
  };
  EXPECT_NO_THROW(convert(smallTexture(), 0));
  EXPECT_NO_THROW(convert(smallTexture(0x18280186 | 0x100), 0));
  const XprTexture tail{
      .width = 16, .height = 16, .levels = 3, .format = 0x18280186 | 0x100, .texels = {{std::vector<std::uint8_t>(16 * 16 * 4, 1)}}};
  const std::pair<const char*, std::function<void(XprTexture&)>> faults[] = {
      {"base past the one page the texture has", [](XprTexture& t) { t.baseAddressOverride = 0x10000; }},
      {"base at the top of the address space", [](XprTexture& t) { t.baseAddressOverride = 0xFFFFF000; }},
      {"pitch field 0", [](XprTexture& t) { t.pitchFieldOverride = 0; }},
      // A packed tail read through the mip address, with the mip address at the very start.
      {"tail at the mip address", [&](XprTexture& t) {
         t = tail;
         t.mipAddressOverride = 0x7FFFF000;
       }},
  };
  for (const auto& [what, fault] : faults) {
    XprTexture t = smallTexture();
    fault(t);
    EXPECT_THROW(convert(t, 0), Error) << what;
  }
  // A tiled header whose pitch field (511) is far wider than the data written for it.
  EXPECT_THROW(convert(smallTexture(0x18280186 | 0x100), 0xFF), Error);
}
