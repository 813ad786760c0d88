#include "base/paths.h"

#include "base/error.h"
#include "base/file_names.h"

namespace vellmark {

std::string directoryPart(const std::string& path) { return path.substr(0, path.rfind(kPathSeparator)); }

std::string namePart(const std::string& path, const char* what) {
  auto pos = path.rfind(kPathSeparator);
  if (pos == std::string::npos)
    fail(ErrorKind::Argument, std::string("invalid string position: ") + what + " '" + path + "' has no '" +
                                  kPathSeparator + "' separator");
  return path.substr(pos);
}

std::string stripFromLast(const std::string& name, const std::string& extension) {
  auto pos = name.rfind(extension);
  return pos == std::string::npos ? name : name.substr(0, pos);
}

std::string extensionFromLastDot(const std::string& name, const char* what) {
  auto pos = name.rfind('.');
  if (pos == std::string::npos)
    fail(ErrorKind::Argument, std::string("invalid string position: ") + what + " '" + printableName(name) + "' has no '.'");
  return name.substr(pos);
}

}  // namespace vellmark
