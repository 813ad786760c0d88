#include "exports/boundary.h"

#include <cstdio>

#include "vellmark/vellmark.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace vellmark {

void reportExportFailure(const char* exportName, const std::string& message) {
  const std::string text = std::string(exportName) + ": " + message;
#ifdef _WIN32
  // The message must outlive the unwinding of the front end's handler search.
  static thread_local std::string lastMessage;
  lastMessage = text;
  ULONG_PTR arguments[1] = {reinterpret_cast<ULONG_PTR>(lastMessage.c_str())};
  RaiseException(VELLMARK_EXCEPTION_CODE, EXCEPTION_NONCONTINUABLE, 1, arguments);
#else
  std::fprintf(stderr, "vellmark: error: %s\n", text.c_str());
  std::fflush(stderr);
#endif
}

}  // namespace vellmark
