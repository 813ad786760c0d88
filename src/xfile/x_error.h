// The one failure type inside the .x loader: a result code for the caller and a message
// that says what was wrong and where, for people reading a log.
#pragma once

#include <string>

#include "xfile/result_text.h"
#include "base/error.h"

namespace vellmark::d3d {

class XFileError : public Error {
 public:
  XFileError(HResult code, const std::string& message)
      : Error(ErrorKind::Corrupt, message), code_(code) {}
  HResult code() const noexcept { return code_; }

 private:
  HResult code_;
};

[[noreturn]] inline void failX(HResult code, const std::string& message) { throw XFileError(code, message); }
[[noreturn]] inline void parseError(const std::string& message) { failX(kParseError, message); }

}  // namespace vellmark::d3d
