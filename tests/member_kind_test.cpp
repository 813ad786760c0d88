#include "archive/member_kind.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "archive/vertex_list.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;

namespace {

std::vector<std::uint8_t> vertexList(std::uint32_t countMinusOne, const std::vector<float>& coords) {
  std::vector<std::uint8_t> v(40, 0);
  putU32(v, 0, 2);
  putU32(v, 4, 2);
  putU32(v, 16, countMinusOne);
  for (float f : coords) {
    std::uint8_t b[4];
    std::memcpy(b, &f, 4);
    v.insert(v.end(), b, b + 4);
  }
  return v;
}

}  // namespace

TEST(MemberKind, TestsRunInTheGameOrder) {
  EXPECT_EQ(classifyMember(bytes({0, 0, 2, 0})), MemberKind::Tga);
  EXPECT_EQ(classifyMember(bytes({'R', 'I', 'F', 'F'})), MemberKind::Wav);
  EXPECT_EQ(classifyMember(bytes({'B', 'T', 'C', 'V', 0})), MemberKind::Btc);
  EXPECT_EQ(classifyMember(bytes({'n', 'a', 'p', 0})), MemberKind::Pan);
  EXPECT_EQ(classifyMember(bytes({'n', 'a', 'p', 1})), MemberKind::Unknown);
  EXPECT_EQ(classifyMember(bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'})), MemberKind::Jpg);
  EXPECT_EQ(classifyMember(bytes({2, 0, 0, 0, 2, 0, 0, 0})), MemberKind::Vrt);
  EXPECT_EQ(classifyMember(bytes({2, 0, 0, 0, 3, 0, 0, 0})), MemberKind::Unknown);
  // A TGA header wins over JFIF at offset 6; "RIFF" wins over a vertex-list shape.
  EXPECT_EQ(classifyMember(bytes({0, 0, 2, 0, 0, 0, 'J', 'F', 'I', 'F'})), MemberKind::Tga);
  // Too short for a test: never read past the end.
  EXPECT_EQ(classifyMember(bytes({0, 0, 2})), MemberKind::Unknown);
  EXPECT_EQ(classifyMember(bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I'})), MemberKind::Unknown);
  EXPECT_EQ(classifyMember({}), MemberKind::Unknown);
  EXPECT_EQ(classifyMember(loadData("media/kloppenheim_06_1024x512_jfif_progressive420.jpg")), MemberKind::Jpg);
  EXPECT_EQ(classifyMember(loadData("media/whistle_s16_stereo_44100.wav")), MemberKind::Wav);
  EXPECT_EQ(classifyMember(loadData("textures/ship_hull_wood_256x256_rgb24.tga")), MemberKind::Tga);
  // A colour-mapped TGA (type 1) is not taken for an image.
  EXPECT_EQ(classifyMember(loadData("textures/fabric_check_128x128_cm8.tga")), MemberKind::Unknown);
  EXPECT_STREQ(memberKindExtension(MemberKind::Unknown), ".DNP");
}

TEST(VertexList, LinesUseTheStreamDefaultNotation) {
  auto member = vertexList(3, {0.1f, 1e6f, -0.0f, 1.5f, 123456.7f, 1e-5f, 2.0f, -3.25f, 1234567.0f, 0, 0, 0});
  EXPECT_EQ(vertexListText(member), "0.1,1e+06,-0\n1.5,123457,1e-05\n2,-3.25,1.23457e+06\n0,0,0\n");
  EXPECT_EQ(vertexListText(vertexList(0, {7, 8, 9})), "7,8,9\n");
}

TEST(VertexList, CountBeyondTheDataGivesThePointsPresent) {
  EXPECT_EQ(vertexListText(vertexList(99, {1, 2, 3, 4, 5})), "1,2,3\n");
  EXPECT_EQ(vertexListText(vertexList(5, {})), "");
  // The count wraps to 0 points in 32-bit arithmetic.
  EXPECT_EQ(vertexListText(vertexList(0xFFFFFFFFu, {1, 2, 3})), "");
  EXPECT_EQ(vertexListText(bytes({2, 0, 0, 0, 2, 0, 0, 0})), "");
}

TEST(VertexList, NumbersMatchTheStreamNotationForAnyBits) {
  // Every exponent, subnormals, infinities and NaNs, and random mantissas.
  std::vector<float> values;
  std::uint32_t x = 12345;
  for (int i = 0; i < 60000; ++i) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    std::uint32_t bits = i < 512 ? (static_cast<std::uint32_t>(i) << 23) | (x & 0x7FFFFF) : x;
    float f;
    std::memcpy(&f, &bits, 4);
    values.push_back(f);
  }
  for (float f : {0.0f, -0.0f, 1.0f, 999999.5f, 9999995.0f, 0.0001f, 0.00001f, 123456.5f, 1e38f, 1e-45f})
    values.push_back(f);
  while (values.size() % 3) values.push_back(1);
  const auto member = vertexList(static_cast<std::uint32_t>(values.size() / 3 - 1), values);
  std::ostringstream expected;
  for (std::size_t i = 0; i < values.size(); i += 3)
    expected << values[i] << ',' << values[i + 1] << ',' << values[i + 2] << '\n';
  EXPECT_EQ(vertexListText(member), expected.str());
}
