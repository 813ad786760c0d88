#include "archive/extraction_plan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "archive/vertex_list.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

using ByteVector = std::vector<std::uint8_t>;

ByteVector vertexList(std::uint32_t countWord, const std::vector<float>& coordinates) {
  ByteVector v = bytes({2, 0, 0, 0, 2, 0, 0, 0});
  v.resize(40 + 4 * coordinates.size(), 0);
  putU32(v, 16, countWord);
  if (!coordinates.empty()) std::memcpy(&v[40], coordinates.data(), 4 * coordinates.size());
  return v;
}

}  // namespace

// The first test that holds decides the kind, and a member becomes prefix + pass + the
// kind's extension: a BTC texture only as its TGA image, a vertex list with its text, a
// panorama only inside the panorama archive. A tag cut short is no tag.
TEST(ExtractionPlan, KindsAndNames) {
  struct Case {
    ByteVector data;
    MemberKind kind;
    std::string path;
    bool tagEndsTheData;  // then every shorter prefix is Unknown
  };
  const Case cases[] = {
      {bytes({0, 0, 2, 0}), MemberKind::Tga, "p/x12.tga", true},
      {bytes({'R', 'I', 'F', 'F'}), MemberKind::Wav, "p/x12.wav", true},
      {bytes({'B', 'T', 'C', 'V'}), MemberKind::Btc, "p/x12.tga", true},
      {bytes({'n', 'a', 'p', 0}), MemberKind::Pan, "", true},
      {bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'}), MemberKind::Jpg, "p/x12.jpg", true},
      {vertexList(0, {}), MemberKind::Vrt, "p/x12.vrt", false},
      {bytes({2, 0, 0, 0, 2, 0, 0, 0}), MemberKind::Vrt, "p/x12.vrt", true},
      {bytes({'n', 'a', 'p', 1}), MemberKind::Unknown, "", false},
      {bytes({2, 0, 0, 0, 3, 0, 0, 0}), MemberKind::Unknown, "", false},
      {bytes({0, 0, 2, 0, 0, 0, 'J', 'F', 'I', 'F'}), MemberKind::Tga, "p/x12.tga", false},
      {bytes({'R', 'I', 'F', 'F', 2, 0, 0, 0}), MemberKind::Wav, "p/x12.wav", false},
      {loadData("textures/fabric_check_128x128_cm8.tga"), MemberKind::Unknown, "", false},  // colour-mapped
  };
  for (const auto& c : cases) {
    const auto plan = planExtractedMember(c.data, "p/x", 12);
    EXPECT_EQ(plan.kind, c.kind) << memberKindName(c.kind);
    EXPECT_EQ(plan.path, c.path) << memberKindName(c.kind);
    EXPECT_EQ(plan.vertexTextPath, c.kind == MemberKind::Vrt ? "p/x12.vrt.txt" : "");
    EXPECT_EQ(plan.panoramaArchive.empty(), c.kind != MemberKind::Pan);
    for (std::size_t n = 0; c.tagEndsTheData && n < c.data.size(); ++n) {
      auto block = std::make_unique<std::uint8_t[]>(n);  // exactly sized, for ASan
      std::copy_n(c.data.begin(), n, block.get());
      EXPECT_EQ(classifyMember({block.get(), n}), MemberKind::Unknown) << memberKindName(c.kind) << " " << n;
    }
  }
  EXPECT_EQ(planExtractedMember(vertexList(0, {7, 8, 9}), "", 0).vertexText, "7,8,9\n");
  EXPECT_EQ(panoramaArchivePath("p/x"), "p/xPanorama.lib");
  EXPECT_STREQ(memberKindExtension(MemberKind::Unknown), ".DNP");
}

// Floats print as a C++ output stream prints them by default (six significant digits).
TEST(VertexList, LinesForThePointsPresent) {
  struct Case {
    std::uint32_t countWord;
    std::vector<float> coordinates;
    const char* text;
  };
  const Case cases[] = {
      {3, {0.1f, 1e6f, -0.0f, 1.5f, 123456.7f, 1e-5f, 2, -3.25f, 1234567, 0, 0, 0},
       "0.1,1e+06,-0\n1.5,123457,1e-05\n2,-3.25,1.23457e+06\n0,0,0\n"},
      {1, {1e-45f, 3.4e38f, 0.0001f, 999999.5f, 9999995.0f, 123456.5f}, "1.4013e-45,3.4e+38,0.0001\n1e+06,1e+07,123456\n"},
      {0, {7, 8, 9, 10, 11, 12}, "7,8,9\n"},
      {99, {1, 2, 3, 4, 5}, "1,2,3\n"},  // the count trusted only as far as the data goes
      {5, {}, ""},
      {0xFFFFFFFFu, {1, 2, 3}, ""},  // the count plus one wraps to no points
  };
  for (const auto& c : cases) EXPECT_EQ(vertexListText(vertexList(c.countWord, c.coordinates)), c.text) << c.text;
}
