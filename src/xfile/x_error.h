// How the .x layer fails: vellmark::Error carrying the result code the loader reports (its
// text is what the mesh tool shows) and a message saying what was wrong and where.
#pragma once

#include <string>

#include "base/error.h"
#include "xfile/result_text.h"

namespace vellmark::d3d {

[[noreturn]] inline void failX(ResultCode code, const std::string& message) {
  throw Error(ErrorKind::Corrupt, message, code);
}
[[noreturn]] inline void parseError(const std::string& message) { failX(kParseError, message); }

}  // namespace vellmark::d3d
