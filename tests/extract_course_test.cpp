#include "tools/extract_course.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <set>

#include "tools/messages.h"
#include "archive/course_archive.h"
#include "tools/btc_writers.h"
#include "tools/panorama.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

using Box = RecordingHost::Box;
using ByteVector = std::vector<std::uint8_t>;
const Box kWarning{messages::kWarningCaption, messages::kWarningText};
const Box kInvalidBtc{messages::kInvalidBtcCaption, messages::kInvalidBtcText};

ByteVector zlibInflate(const ByteVector& data, std::size_t expected) {
  ByteVector out(expected);
  uLongf length = static_cast<uLongf>(expected);
  EXPECT_EQ(uncompress(out.data(), &length, data.data(), static_cast<uLong>(data.size())), Z_OK);
  out.resize(length);
  return out;
}

int falseSignatures(const ByteVector& stream) {
  int n = 0;
  for (std::size_t i = 1; i + 1 < stream.size(); ++i) n += stream[i] == 0x78 && stream[i + 1] == 0x9C;
  return n;
}

// 16 header bytes, then the pieces one after another (no directory: the extractor reads none).
ByteVector rawArchive(const std::vector<ByteVector>& pieces) {
  ByteVector out = {'A', 'R', 'C', '0', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (const auto& p : pieces) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// A complete course archive of the members, as the game's tools write them.
ByteVector courseArchive(const std::vector<ByteVector>& members) {
  CourseArchiveWriter writer;
  for (std::size_t i = 0; i < members.size(); ++i)
    writer.addMember("member" + std::to_string(i), zlibCompress(members[i]), static_cast<std::uint32_t>(members[i].size()));
  return std::move(writer).finish();
}

ByteVector text(const std::string& s) { return ByteVector(s.begin(), s.end()); }

ByteVector tgaMember(int width, int height, std::uint32_t seed) {
  return makeTga(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 32, 0x20,
                 patternPixels(width, height, seed));
}

ByteVector vertexMember(std::uint32_t countWord, const std::vector<float>& coordinates) {
  ByteVector m(40, 0);
  putU32(m, 0, 2);
  putU32(m, 4, 2);
  putU32(m, 8, 0xDEADBEEF);  // words the extractor skips
  putU32(m, 16, countWord);
  for (float f : coordinates) {
    std::uint32_t bits;
    std::memcpy(&bits, &f, 4);
    m.resize(m.size() + 4);
    putU32(m, m.size() - 4, bits);
  }
  return m;
}

ByteVector btcMember(std::int32_t entryCount, std::array<std::uint8_t, 4> colour) {
  return solidBtcFile(4, entryCount, colour);
}

std::set<std::string> filesIn(const fs::path& dir) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
  return names;
}

struct ExtractFixture : ::testing::Test {
  ScratchDir dir;
  RecordingHost host;
  std::string prefix = dir.prefix() + "c_";
  ExtractionSummary extract(const ByteVector& archive, unsigned threads = 1) {
    auto exact = std::make_unique<std::uint8_t[]>(archive.size());  // exactly sized for ASan
    std::copy(archive.begin(), archive.end(), exact.get());
    return extractCourse(host, Bytes(exact.get(), archive.size()), prefix, threads);
  }
  ByteVector out(const std::string& name) { return readFile(prefix + name); }
};

}  // namespace

TEST_F(ExtractFixture, PanoramaBecomesAOneMemberArchive) {
  ByteVector panorama = text(std::string("nap\0", 4));
  const auto tail = patternPixels(64, 64, 3);
  panorama.insert(panorama.end(), tail.begin(), tail.end());
  ByteVector second = text(std::string("nap\0second", 10));

  extract(courseArchive({panorama}));
  const auto lib = readFile(dir.prefix() + "c_Panorama.lib");
  const auto c = static_cast<std::uint32_t>(zlibCompress(panorama).size());
  ASSERT_EQ(lib.size(), c + 80u);
  EXPECT_EQ(std::string(lib.begin(), lib.begin() + 4), "ARC0");
  EXPECT_EQ(getU32(lib, 4), c + 80);
  EXPECT_EQ(getU32(lib, 8), 1u);
  EXPECT_EQ(getU32(lib, 12), c + 16);
  EXPECT_EQ(ByteVector(lib.begin() + 16, lib.begin() + 16 + c), zlibCompress(panorama));
  const std::size_t rec = c + 16;
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&lib[rec + 4])), "Panorama.btc");
  EXPECT_EQ(getU32(lib, rec + 36), 16u);
  EXPECT_EQ(getU32(lib, rec + 40), c);
  EXPECT_EQ(getU32(lib, rec + 44), panorama.size());
  EXPECT_EQ(getU32(lib, rec + 48), 2u);
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{"c_Panorama.lib"});

  // A later panorama overwrites the file.
  extract(courseArchive({second, panorama, tgaMember(4, 4, 1), second}), 3);
  const auto last = readFile(dir.prefix() + "c_Panorama.lib");
  EXPECT_EQ(zlibInflate(ByteVector(last.begin() + 16, last.end() - 64), second.size()), second);
}

TEST_F(ExtractFixture, FailedPassesUseUpTheirNumbers) {
  const auto a = tgaMember(8, 8, 1), b = tgaMember(8, 8, 2);
  auto broken = zlibCompress(tgaMember(8, 8, 3));
  broken[broken.size() / 2] ^= 0x55;
  broken.back() ^= 1;  // the check value cannot match any more
  extract(rawArchive({zlibCompress(a), broken, zlibCompress(b)}));
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{"c_0.tga", "c_2.tga"}));
  EXPECT_EQ(out("2.tga"), b);
}

TEST_F(ExtractFixture, NothingAfterTheHeaderGivesNoFiles) {
  // Signatures inside the header are never seen; with none after it the whole buffer goes
  // to inflation once, and an archive's "ARC0" is no zlib header.
  auto archive = rawArchive({ByteVector(40, 0x78)});
  archive[4] = 0x78;
  archive[5] = 0x9C;
  EXPECT_EQ(extract(archive).failed, 1);
  extract(ByteVector(10, 0x78));
  extract({});
  EXPECT_TRUE(filesIn(dir.path()).empty());
  EXPECT_EQ(host.boxes, std::vector<Box>(3, kWarning));

  // Not even when the buffer itself begins with a zlib stream: a member below offset 16
  // is never seen.
  auto stream = zlibCompress(tgaMember(2, 2, 1));
  ASSERT_EQ(falseSignatures(stream), 0);
  stream.resize(stream.size() + 20, 0);
  EXPECT_EQ(extract(stream).inflated, 0);
  EXPECT_TRUE(filesIn(dir.path()).empty());
}

TEST_F(ExtractFixture, EightToOneBoundaryDecides) {
  // A member whose chunk (stream plus the padding up to the next signature) inflates to
  // exactly eight times its length is written; one byte more and its number is missing.
  auto member = [](std::size_t size) {
    ByteVector m = tgaMember(8, 8, 4);
    m.resize(size, 'z');
    return m;
  };
  const std::size_t size = 8000;
  auto fits = zlibCompress(member(size));
  auto over = zlibCompress(member(size + 1));
  ASSERT_LT(over.size(), size / 8);
  ByteVector fitsChunk = fits, overChunk = over;
  fitsChunk.resize(size / 8, 0);  // zero padding holds no signature
  overChunk.resize(size / 8, 0);
  extract(rawArchive({fitsChunk, overChunk, zlibCompress(tgaMember(2, 2, 5))}));
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{"c_0.tga", "c_2.tga"}));
  EXPECT_EQ(out("0.tga"), member(size));
}

TEST_F(ExtractFixture, BtcMembersGiveTgaOnlyAndTheirBoxesInPassOrder) {
  const auto good = btcMember(1, {9, 8, 7, 6});
  const auto refused = btcMember(0, {0, 0, 0, 0});
  const auto negative = btcMember(-1, {5, 5, 5, 5});
  const auto archive = courseArchive({good, refused, tgaMember(4, 4, 1), refused, negative});
  ByteVector zeroTga = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 4, 0, 0x20, 0x20};
  zeroTga.resize(18 + 64, 0);
  const auto summary = extract(archive, 2);  // ThreadsChangeNothing covers other counts
  EXPECT_EQ(host.boxes, (std::vector<Box>{kWarning, kInvalidBtc, kInvalidBtc}));
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{"c_0.tga", "c_2.tga", "c_4.tga"}));
  EXPECT_EQ(out("4.tga"), zeroTga);  // a negative entry count gives an empty image
  EXPECT_EQ(summary.btcRejected, 2);
}

TEST_F(ExtractFixture, ThreadsChangeNothing) {
  std::vector<ByteVector> members;
  for (int i = 0; i < 40; ++i) {
    switch (i % 5) {
      case 0: members.push_back(tgaMember(8 + i, 4, i)); break;
      case 1: members.push_back(vertexMember(i, {float(i), 0.5f, -1})); break;
      case 2: members.push_back(btcMember(i % 3 == 0 ? 0 : 1, {1, 1, static_cast<std::uint8_t>(i), 1})); break;
      case 3: members.push_back(text(std::string("nap\0", 4) + std::to_string(i))); break;
      default: members.push_back(text("RIFF" + std::string(static_cast<std::size_t>(i), 'w'))); break;
    }
  }
  auto archive = courseArchive(members);
  auto corrupt = zlibCompress(tgaMember(50, 50, 1));
  corrupt[20] ^= 0xFF;
  archive.insert(archive.begin() + 16, corrupt.begin(), corrupt.end());  // fails and shifts the numbers

  auto run = [&](unsigned threads) {
    ScratchDir out;
    prefix = out.prefix();
    host.boxes.clear();
    extract(archive, threads);
    std::map<std::string, ByteVector> files;
    for (const auto& name : filesIn(out.path())) files[name] = readFile(out.file(name));
    return std::make_pair(files, host.boxes);
  };
  const auto sequential = run(1);
  // 8 tga, 8 vertex lists with their text, 6 converted btc (2 refused), one Panorama.lib, 8 wav.
  EXPECT_EQ(sequential.first.size(), 8u + 8 * 2 + 6 + 1 + 8);
  EXPECT_FALSE(sequential.first.count("0.tga"));
  for (unsigned threads : {2u, 3u, 8u}) EXPECT_EQ(run(threads), sequential) << threads;
}

// The search cuts a member wherever its compressed bytes happen to hold 78 9C, and a
// member that packs better than 8:1 cannot be inflated in its allowance. Both are lost, as
// they are with the game's own extractor; the directory-based unpack of the archive tools
// is the way to get them.
TEST_F(ExtractFixture, RealSizedMembersAreLostAsTheGameLosesThem) {
  const auto sound = loadData("media/impact_big_s16_mono_48000.wav");
  const auto packedSound = zlibCompress(sound);
  const int soundPieces = falseSignatures(packedSound) + 1;
  ASSERT_GE(soundPieces, 2);  // 78 9C inside the stream, first at byte 10199
  ByteVector flat = makeTga(256, 256, 32, 0x20, ByteVector(256 * 256 * 4, 0x80));
  ASSERT_GT(flat.size(), 8 * zlibCompress(flat).size());
  ASSERT_EQ(falseSignatures(zlibCompress(flat)), 0);
  const auto small = tgaMember(16, 16, 2);

  const auto summary = extract(courseArchive({small, sound, flat, small}));
  EXPECT_EQ(summary.passes, 1 + soundPieces + 1 + 1);
  EXPECT_EQ(summary.inflated, 2);
  const auto last = std::to_string(1 + soundPieces + 1);
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{"c_0.tga", "c_" + last + ".tga"}));
}

namespace {

// An image of 4 x 4 blocks of one colour each, which the BTC encoder stores exactly.
Image blockImage(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
  Image image{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 4)};
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t block = (y / 4) * 1000 + x / 4 + seed;
      std::uint8_t* p = &image.pixels[(std::size_t{y} * width + x) * 4];
      p[0] = static_cast<std::uint8_t>(block * 7);
      p[1] = static_cast<std::uint8_t>(block >> 3);
      p[2] = static_cast<std::uint8_t>(seed * 40 + y / 16);
      p[3] = 255;
    }
  return image;
}

}  // namespace

// An archive of small members, written with our own writers, comes back whole under the
// numbers of their passes, the first one 0: TGAs, sounds and pictures byte for byte, BTC
// textures as the images they encode (no ".btc" file), the vertex list with its text, the
// panorama through "Panorama.lib" and the panorama builder; the unknown member is dropped.
TEST_F(ExtractFixture, SmallMembersRoundTrip) {
  const auto scarecrow = loadData("textures/scarecrow_128x256_rgba32_bottomup.tga");
  const auto coin = loadData("media/coin_u8_mono_22050.wav");
  const auto picture = loadData("media/kloppenheim_06_1024x512_jfif_progressive420.jpg");
  const auto sky = loadData("sky/sky_4800x320_top.tga.gz");
  std::vector<std::uint8_t> skyTile;
  {
    std::vector<std::uint8_t> pixels;
    for (int r = 0; r < 64; ++r)
      pixels.insert(pixels.end(), sky.begin() + 18 + (256 + r) * 19200 + 4 * 1024, sky.begin() + 18 + (256 + r) * 19200 + 4 * 1088);
    skyTile = makeTga(64, 64, 32, 0x20, pixels);
  }
  const Image texture = blockImage(96, 64, 3);
  const auto btc = makeBtcFile(texture);
  const Image panoramaImage = blockImage(512, 256, 5);
  auto panorama = makeTiledPanoramaStream(panoramaImage);
  std::memcpy(panorama.data(), "nap", 4);  // the stream's first word is not used: the game marks it
  const auto vrt = vertexMember(2, {1, 2, 3, 4.5f, 5.25f, -6, 1e-3f, 7e7f, 0});

  const std::vector<ByteVector> members = {scarecrow, coin, btc, picture, skyTile, panorama, vrt, text("XOBJ....")};
  for (const auto& m : members) {
    const auto packed = zlibCompress(m);
    ASSERT_LT(packed.size(), 40000u);
    ASSERT_EQ(falseSignatures(packed), 0) << "a member the search would cut";
    ASSERT_LE(m.size(), 8 * packed.size()) << "a member beyond the 8:1 allowance";
  }

  const auto summary = extract(courseArchive(members), 2);
  EXPECT_EQ(host.boxes, std::vector<Box>{kWarning});
  EXPECT_EQ(summary.passes, 8);  // the directory holds no signature: it trails the last chunk
  EXPECT_EQ(summary.count(MemberKind::Unknown), 1);
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{"c_0.tga", "c_1.wav", "c_2.tga", "c_3.jpg", "c_4.tga",
                                                         "c_6.vrt", "c_6.vrt.txt", "c_Panorama.lib"}));
  EXPECT_EQ(out("0.tga"), scarecrow);
  EXPECT_EQ(out("1.wav"), coin);
  EXPECT_EQ(out("3.jpg"), picture);
  EXPECT_EQ(out("4.tga"), skyTile);
  EXPECT_EQ(out("2.tga"), makeTga(96, 64, 32, 0x20, texture.pixels));
  EXPECT_EQ(out("6.vrt.txt"), text("1,2,3\n4.5,5.25,-6\n0.001,7e+07,0\n"));

  ScratchDir panoramaOut;
  createPanorama(host, readFile(dir.prefix() + "c_Panorama.lib"), panoramaOut.prefix());
  EXPECT_EQ(readFile(panoramaOut.file("Panorama.tga")), makeTga(512, 256, 32, 0x20, panoramaImage.pixels));
}

// The sample course of run.sh's main job: every member is found, the real files come back
// as they went in, and its panorama rebuilds.
TEST_F(ExtractFixture, SampleCourseComesOutWhole) {
  const auto archive = readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc");
  ASSERT_EQ(readArchiveDirectory(archive).records.size(), 10u);
  EXPECT_EQ(extract(archive, 2).inflated, 10);
  EXPECT_EQ(out("0.tga"), loadData("textures/scarecrow_128x256_rgba32_bottomup.tga"));
  EXPECT_EQ(out("1.wav"), loadData("media/coin_u8_mono_22050.wav"));
  EXPECT_EQ(out("3.jpg"), loadData("media/kloppenheim_06_1024x512_jfif_progressive420.jpg"));
  EXPECT_EQ(out("2.tga").size(), 18u + 256 * 256 * 4);
  ScratchDir panoramaOut;
  createPanorama(host, readFile(dir.prefix() + "c_Panorama.lib"), panoramaOut.prefix());
  const auto image = readFile(panoramaOut.file("Panorama.tga"));
  ASSERT_EQ(image.size(), 18u + 1024 * 256 * 4);
  EXPECT_EQ(getU32(image, 12), 0x01000400u);  // 1024 x 256
}
