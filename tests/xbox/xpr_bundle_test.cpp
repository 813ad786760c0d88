// The bundle reader on a real-sized bundle (tests/data/xpr/tool.xpr.gz): every cut, and every
// field that can point outside the blocks, found on loading or when the entry is used.
#include <gtest/gtest.h>

#include <functional>

#include "support/test_support.h"
#include "xbox/xpr_bundle.h"
#include "xbox/xpr_level.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> withWord(std::vector<std::uint8_t> file, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) file[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
  return file;
}

constexpr std::size_t kDirectory = 16;  // first directory entry in the file
std::size_t entry(int index, int word) { return kDirectory + 16 * index + 4 * word; }

}  // namespace

TEST(XprBundle, EveryCutIsTruncatedAndTrailingBytesAreIgnored) {
  const auto file = loadData("xpr/tail.xpr.gz");
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
  EXPECT_EQ(parseXprBundle(longer, "longer").bundle->dataBlock.size(), loadU32BE(&file[8]));
}

TEST(XprBundle, FieldsThatPointOutsideTheBlocksAreErrors) {
  const auto good = loadData("xpr/tool.xpr.gz");
  const std::uint32_t headerSize = loadU32BE(&good[4]);
  const XprBundle bundle = *parseXprBundle(good, "good").bundle;
  const std::uint32_t firstTexture = bundle.directory[0].offset;
  const auto texture = [&](const XprBundle& b, int i) { return convertXprTextureLevel(b, xprTextureHeader(b, b.directory[i]), 0, 0); };
  const auto userData = [](const XprBundle& b, int i) { return xprUserData(b, b.directory[i]); };
  const auto name = [](const XprBundle& b, int i) { return xprResourceName(b, b.directory[i]); };
  // The bits below an address field's page, in the header block, kept when the page moves.
  const auto lowBits = [&](std::uint32_t at) { return loadU32BE(&good[12 + at]) & 0xFFFu; };
  const struct { const char* what; std::size_t at; std::uint32_t value; std::function<void(const XprBundle&)> use; } cases[] = {
      {"header block past the end", 4, headerSize + 1000000, nullptr},
      {"data block past the end", 8, 0xFFFFFFF0, nullptr},
      {"directory past the header block", 12, 0x10000000, nullptr},
      {"directory just past the header block", 12, (headerSize - 4) / 16 + 1, nullptr},
      {"texture header past the header block", entry(0, 1), headerSize - 20, nullptr},
      {"name at the end of the header block", entry(4, 3), headerSize, [&](const XprBundle& b) { name(b, 4); }},
      {"user data past the header block", entry(4, 1), headerSize, [&](const XprBundle& b) { userData(b, 4); }},
      {"user data wrapping around", entry(4, 1), 0xFFFFFFFC, [&](const XprBundle& b) { userData(b, 4); }},
      {"base at the top of the address space", 12 + firstTexture + 32, 0xFFFFF000 | lowBits(firstTexture + 32), [&](const XprBundle& b) { texture(b, 0); }},
      {"last texture a byte past a shortened data block", 8, loadU32BE(&good[8]) - 1, [&](const XprBundle& b) { texture(b, 9); }},
      {"base past the data block", 12 + firstTexture + 32, 0x00FFF000 | lowBits(firstTexture + 32), [&](const XprBundle& b) { texture(b, 0); }},
      {"pitch field 0", 12 + firstTexture + 28, loadU32BE(&good[12 + firstTexture + 28]) & ~(0x1FFu << 22), [&](const XprBundle& b) { texture(b, 0); }},
      {"tail read at the mip address", 12 + bundle.directory[3].offset + 48, 0x7FFFF000 | lowBits(bundle.directory[3].offset + 48),
       [&](const XprBundle& b) { texture(b, 3); }},
  };
  for (const auto& c : cases) {
    const auto file = withWord(good, c.at, c.value);
    if (!c.use) {
      EXPECT_THROW(parseXprBundle(file, "bad"), Error) << c.what;
      continue;
    }
    EXPECT_THROW(c.use(*parseXprBundle(file, "bad").bundle), Error) << c.what;
  }
  // A name must end inside the header block.
  XprBundle unterminated = bundle;
  unterminated.directory[4].nameOffset = headerSize - 1;
  unterminated.headerBlock.back() = 'x';
  EXPECT_THROW(name(unterminated, 4), Error);
  for (int i : {0, 3, 9}) EXPECT_NO_THROW(texture(bundle, i)) << i;
}
