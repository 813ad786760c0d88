#include "tools/extract_course.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "archive/archive_members.h"
#include "support/sha256.h"
#include "support/test_support.h"
#include "tools/messages.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using Box = RecordingHost::Box;
using ByteVector = std::vector<std::uint8_t>;
const Box kWarning{messages::kWarningCaption, messages::kWarningText};
const Box kInvalidBtc{messages::kInvalidBtcCaption, messages::kInvalidBtcText};

ByteVector text(const std::string& s) { return {s.begin(), s.end()}; }

struct Extraction {
  ExtractionSummary summary;
  std::map<std::string, ByteVector> files;
  std::vector<Box> boxes;
};
// From an exactly sized heap block (for ASan) into a fresh folder.
Extraction extract(const ByteVector& archive, unsigned threads) {
  auto block = std::make_unique<std::uint8_t[]>(archive.size());
  std::copy(archive.begin(), archive.end(), block.get());
  ScratchDir dir;
  RecordingHost host;
  Extraction out{extractCourse(host, Bytes(block.get(), archive.size()), dir.prefix() + "c_", threads), {}, {}};
  for (const auto& e : std::filesystem::directory_iterator(dir.path())) out.files[e.path().filename()] = readFile(e.path());
  return out.boxes = host.boxes, out;
}

}  // namespace

// The sample course holds a member of every kind; these outputs were checked by hand.
TEST(ExtractCourse, SampleCourseManifest) {
  const auto run = extract(readFile(std::string(VELLMARK_TEST_DATA_DIR) + "/../../samples/sample_course.arc"), 2);
  const std::map<std::string, std::string> manifest = {
      {"c_0.tga", "af5de6373407d50739ff22ed2f0da068ad9796bcc40e11e70b2e0ad512264581"},
      {"c_1.wav", "fc65eb94df39fbd301f3de088a27cb0c287a5bd58e73d5073f181f1ba9a0300c"},
      {"c_2.tga", "08c50a3cf033b52e7d30f59479af2fe2e0bc8e85889f2dfc3ae050361f37f20b"},
      {"c_3.jpg", "6f73a2e238fc3838c5d4df49b3e3ee008956b40a610cbd2cbda3919cdddb497d"},
      {"c_4.tga", "d6e6223d42070b7354404bcaf9c17a31a279934d56b9339ded390ba3bd991461"},
      {"c_5.tga", "f6dde1df7f8a889aba7c313c874bd6054531fc91f1ccc78fec27557fbddabb02"},
      {"c_6.tga", "77e26107b311cc5550016c78a79ca4f3a665f9783f856588d099797e67081997"},
      {"c_7.vrt", "fbbc5d87e6647f92d21e8f148d38521e2a99e6cb1267bda20a384809bd7ae7ef"},
      {"c_7.vrt.txt", "7b0999977a2498a9f038114729824e611bdbbec793ff3cea383d6e93eb230767"},
      {"c_Panorama.lib", "7cbaca2c7be26e37bcc7bc4d9b188bb7f6a4031e4bb313babeb12132dadf4215"},
  };
  std::map<std::string, std::string> hashes;
  for (const auto& [name, data] : run.files) hashes[name] = sha256Hex(data);
  EXPECT_EQ(hashes, manifest);
  EXPECT_EQ(run.boxes, std::vector<Box>{kWarning});
  EXPECT_EQ(run.summary.passes, 10);
  EXPECT_EQ(run.summary.byKind, (std::array<int, 7>{4, 1, 1, 1, 1, 1, 1}));
}

// Failed passes use up their numbers, rejected textures box in pass order, the last panorama
// wins; and any number of threads gives the files and boxes of the sequential run.
TEST(ExtractCourse, PassOrderHoldsOnEveryThreadCount) {
  const auto tga = makeTga(4, 4, 32, 0x20, patternPixels(4, 4, 1)), rejected = solidBtcFile(4, 0, {0, 0, 0, 0});
  auto huge = solidBtcFile(4, 1, {1, 2, 3, 4}), vrt = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  putU32(huge, 4, 0xFFFFFFFFu);  // both sides 65535
  vrt.resize(52, 0);
  const std::vector<ByteVector> members = {
      tga, rejected, tga, text(std::string("nap\0first", 9)), solidBtcFile(4, 1, {9, 8, 7, 6}), huge, rejected,
      text(std::string("nap\0second", 10)), vrt, text("RIFF...."), text("XOBJ")};
  ByteVector archive(16, 0);
  for (std::size_t i = 0; i < members.size(); ++i) {
    auto stream = zlibCompress(members[i]);
    if (i == 2) stream[stream.size() - 1] ^= 1;  // its check value no longer matches
    archive.insert(archive.end(), stream.begin(), stream.end());
  }

  const auto sequential = extract(archive, 1);
  std::string names;
  for (const auto& file : sequential.files) names += file.first + " ";
  EXPECT_EQ(names, "c_0.tga c_4.tga c_8.vrt c_8.vrt.txt c_9.wav c_Panorama.lib ");
  const auto panorama = ArchiveUnpacker(sequential.files.at("c_Panorama.lib"), false).member(0);
  EXPECT_EQ(std::vector<std::uint8_t>(panorama.data.begin(), panorama.data.end()), members[7]);
  EXPECT_EQ(sequential.boxes, (std::vector<Box>{kWarning, kInvalidBtc, kInvalidBtc}));
  const auto& s = sequential.summary;
  EXPECT_EQ(std::vector<int>({s.passes, s.inflated, s.failed, s.btcRejected, int(s.btcErrors.size())}),
            std::vector<int>({11, 10, 1, 2, 1}));
  EXPECT_NE(s.btcErrors.at(0).find("/c_5.tga: "), std::string::npos) << s.btcErrors[0];
  for (unsigned threads : {2u, 3u, 8u}) {
    const auto parallel = extract(archive, threads);
    EXPECT_EQ(parallel.files, sequential.files) << threads;
    EXPECT_EQ(parallel.boxes, sequential.boxes) << threads;
  }
}

TEST(ExtractCourse, ExportRefusesANegativeLength) {
  void* library = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr);
  const auto run = reinterpret_cast<void (*)(const unsigned char*, int, const char*)>(dlsym(library, "ExtractMSCourse"));
  testing::internal::CaptureStderr();
  run(nullptr, -1, "never_");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("archiveLength -1 is negative"), std::string::npos);
}
