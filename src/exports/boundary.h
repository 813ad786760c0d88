// The C exports run their tool through runExport, which keeps every C++ exception inside
// the library: in the DLL it becomes a structured exception carrying the message, in the
// Linux library a line on standard error.
#pragma once

#include <exception>
#include <string>

namespace vellmark {

void reportExportFailure(const char* exportName, const std::string& message);

template <class Tool>
void runExport(const char* exportName, Tool&& tool) noexcept {
  try {
    tool();
  } catch (const std::exception& e) {
    reportExportFailure(exportName, e.what());
  } catch (...) {
    reportExportFailure(exportName, "unknown error");
  }
}

}  // namespace vellmark
