// The one error type of the library. Every failure that is not a message box of a tool
// (bad input that would be read out of bounds, an input file that cannot be opened, an
// argument the tools cannot use) is raised as vellmark::Error with a message that names
// the file, field or argument and the reason.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace vellmark {

enum class ErrorKind {
  Truncated,    // the data ends before a field or block it declares
  Corrupt,      // a field holds a value that points outside the data or contradicts it
  Unsupported,  // well-formed, but beyond what the tools can handle (size caps)
  Argument,     // a caller's argument cannot be used (a path without a separator, ...)
  Io,           // a file could not be read
};

class Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& message, std::int32_t resultCode = 0)
      : std::runtime_error(message), kind_(kind), resultCode_(resultCode) {}
  ErrorKind kind() const noexcept { return kind_; }
  // The result code a caller shows the user for this failure (the .x loader's codes, whose
  // texts the mesh tool puts in its box); 0 when the failure has none.
  std::int32_t resultCode() const noexcept { return resultCode_; }

 private:
  ErrorKind kind_;
  std::int32_t resultCode_;
};

[[noreturn]] inline void fail(ErrorKind kind, const std::string& message) { throw Error(kind, message); }

}  // namespace vellmark
