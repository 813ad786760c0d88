// Reading an object's data values member by member, as its template lays them out.
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "xfile/x_error.h"
#include "xfile/x_tree.h"

namespace vellmark::d3d {

class ValueReader {
 public:
  ValueReader(const XTree& tree, const XObject& object)
      : tree_(tree), object_(object), values_(tree.valuesOf(object)) {}

  std::size_t remaining() const { return values_.size() - pos_; }

  std::uint32_t dword(const char* member) {
    if (pos_ < values_.size() && values_[pos_].kind == XValue::Kind::Integer) [[likely]]
      return values_[pos_++].bits;
    wrong(member, "an integer");
  }
  // Integers are taken as floats where a FLOAT member is due.
  float number(const char* member) {
    if (pos_ < values_.size()) [[likely]] {
      const XValue& v = values_[pos_];
      if (v.kind == XValue::Kind::Float) return ++pos_, std::bit_cast<float>(v.bits);
      if (v.kind == XValue::Kind::Integer) return ++pos_, static_cast<float>(v.bits);
    }
    wrong(member, "a number");
  }
  std::string_view string(const char* member) {
    if (pos_ < values_.size() && values_[pos_].kind == XValue::Kind::String) return tree_.strings[values_[pos_++].bits];
    wrong(member, "a string");
  }
  // An element count, checked against the values left so that no count from the file can
  // make the caller allocate more than the file holds.
  std::uint32_t count(const char* member, std::uint32_t valuesPerElement) {
    const std::uint32_t n = dword(member);
    if (static_cast<std::uint64_t>(n) * valuesPerElement > remaining())
      parseError(std::string(object_.type) + " states " + std::to_string(n) + " " + member + " but holds only " +
                 std::to_string(remaining()) + " more values");
    return n;
  }
  void finish() const {
    if (pos_ != values_.size())
      parseError(std::string(object_.type) + " holds " + std::to_string(values_.size() - pos_) +
                 " values more than its members");
  }

 private:
  [[noreturn, gnu::noinline]] void wrong(const char* member, const char* wanted) const {
    if (pos_ >= values_.size()) parseError(std::string(object_.type) + " ends before its member " + member);
    parseError(std::string(object_.type) + " member " + member + " needs " + wanted);
  }

  const XTree& tree_;
  const XObject& object_;
  std::span<const XValue> values_;
  std::size_t pos_ = 0;
};

}  // namespace vellmark::d3d
