// Reading an object's data values member by member, as its template lays them out.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "d3dutil/x_error.h"
#include "d3dutil/x_tree.h"

namespace vellmark::d3d {

class ValueReader {
 public:
  ValueReader(const XTree& tree, const XObject& object)
      : tree_(tree), object_(object), values_(tree.valuesOf(object)) {}

  std::size_t remaining() const { return values_.size() - pos_; }

  std::uint32_t dword(const char* member) {
    const XValue& v = take(member);
    if (v.kind != XValue::Kind::Integer) mismatch(member, "an integer");
    return v.integer;
  }
  float number(const char* member) {
    const XValue& v = take(member);
    if (v.kind == XValue::Kind::String) mismatch(member, "a number");
    return v.number;
  }
  std::string_view string(const char* member) {
    const XValue& v = take(member);
    if (v.kind != XValue::Kind::String) mismatch(member, "a string");
    return tree_.strings[v.integer];
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
  const XValue& take(const char* member) {
    if (pos_ >= values_.size())
      parseError(std::string(object_.type) + " ends before its member " + member);
    return values_[pos_++];
  }
  [[noreturn]] void mismatch(const char* member, const char* wanted) const {
    parseError(std::string(object_.type) + " member " + member + " needs " + wanted);
  }

  const XTree& tree_;
  const XObject& object_;
  std::span<const XValue> values_;
  std::size_t pos_ = 0;
};

}  // namespace vellmark::d3d
