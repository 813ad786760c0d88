#include "base/byte_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

using namespace vellmark;

TEST(ByteReader, ReadsLittleAndBigEndianFields) {
  const std::vector<std::uint8_t> data = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xFF, 0xFF, 0x00, 0x00, 0x80, 0x3F};
  ByteReader r(data);
  EXPECT_EQ(r.u8(), 0x01);
  EXPECT_EQ(r.u16(), 0x0302);
  EXPECT_EQ(r.u32be(), 0x04050607u);
  EXPECT_EQ(r.i16(), -1);
  EXPECT_FLOAT_EQ(r.f32(), 1.0f);
  EXPECT_EQ(r.remaining(), 0u);
}

TEST(ByteReader, EveryReadPastTheEndIsATruncatedError) {
  const std::vector<std::uint8_t> data = {1, 2, 3};
  ByteReader r(data, "widget");
  EXPECT_EQ(r.u16(), 0x0201);
  try {
    r.u16();
    FAIL() << "read past the end";
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::Truncated);
    EXPECT_NE(std::string(e.what()).find("widget"), std::string::npos);
  }
  EXPECT_EQ(r.position(), 2u);  // a failed read does not move
  EXPECT_THROW(r.take(2), Error);
  EXPECT_THROW(r.skip(2), Error);
  EXPECT_THROW(r.seek(4), Error);
  EXPECT_NO_THROW(r.seek(3));
}

TEST(ByteReader, RangeFitsCannotOverflow) {
  constexpr auto max = std::numeric_limits<std::uint64_t>::max();
  EXPECT_TRUE(rangeFits(0, 10, 10));
  EXPECT_TRUE(rangeFits(10, 0, 10));
  EXPECT_FALSE(rangeFits(11, 0, 10));
  EXPECT_FALSE(rangeFits(5, 6, 10));
  EXPECT_FALSE(rangeFits(1, max, 10));
  EXPECT_FALSE(rangeFits(max, 2, 10));
}
