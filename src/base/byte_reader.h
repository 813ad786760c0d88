// Checked reading of little- and big-endian fields from a byte span. Every read compares
// the request with what remains and raises a Truncated error naming `what` otherwise, so
// no parser in the library can read past its input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/error.h"

namespace vellmark {

using Bytes = std::span<const std::uint8_t>;

inline std::uint16_t loadU16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t loadU32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
         (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
inline std::uint32_t loadU32BE(const std::uint8_t* p) {
  return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
         (static_cast<std::uint32_t>(p[2]) << 8) | static_cast<std::uint32_t>(p[3]);
}
inline void storeU16(std::uint8_t* p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void storeU32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}
inline void storeU32BE(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
}

// True when [offset, offset + size) lies inside a block of `total` bytes; written so that
// it cannot overflow.
constexpr bool rangeFits(std::uint64_t offset, std::uint64_t size, std::uint64_t total) {
  return offset <= total && size <= total - offset;
}

class ByteReader {
 public:
  explicit ByteReader(Bytes data, std::string what = "input") : data_(data), what_(std::move(what)) {}

  std::size_t position() const { return pos_; }
  std::size_t remaining() const { return data_.size() - pos_; }
  std::size_t size() const { return data_.size(); }
  Bytes data() const { return data_; }

  void seek(std::size_t offset) {
    if (offset > data_.size()) truncated(offset - pos_);
    pos_ = offset;
  }
  void skip(std::size_t n) { need(n); pos_ += n; }

  std::uint8_t u8() { need(1); return data_[pos_++]; }
  std::uint16_t u16() { need(2); auto v = loadU16(&data_[pos_]); pos_ += 2; return v; }
  std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
  std::uint32_t u32() { need(4); auto v = loadU32(&data_[pos_]); pos_ += 4; return v; }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  std::uint32_t u32be() { need(4); auto v = loadU32BE(&data_[pos_]); pos_ += 4; return v; }
  float f32() {
    std::uint32_t bits = u32();
    float f;
    static_assert(sizeof f == sizeof bits);
    __builtin_memcpy(&f, &bits, sizeof f);
    return f;
  }

  Bytes take(std::size_t n) {
    need(n);
    Bytes out = data_.subspan(pos_, n);
    pos_ += n;
    return out;
  }

 private:
  void need(std::size_t n) const {
    if (n > remaining()) truncated(n);
  }
  [[noreturn]] void truncated(std::size_t n) const {
    fail(ErrorKind::Truncated, what_ + " is truncated: " + std::to_string(n) + " bytes needed at offset " +
                                   std::to_string(pos_) + ", " + std::to_string(remaining()) + " left");
  }

  Bytes data_;
  std::string what_;
  std::size_t pos_ = 0;
};

// Little-endian appends to an owned buffer.
template <class Vec>
void appendU16(Vec& out, std::uint16_t v) {
  out.push_back(static_cast<std::uint8_t>(v));
  out.push_back(static_cast<std::uint8_t>(v >> 8));
}
template <class Vec>
void appendU32(Vec& out, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

}  // namespace vellmark
