// Path rules shared by the tools. Output names are built by plain concatenation of a folder
// or prefix, a name part and an extension, exactly as the game's front end expects; the
// separator is the backslash on Windows and '/' elsewhere.
#pragma once

#include <string>

namespace vellmark {

#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// Everything before the last separator (the whole path when there is none).
std::string directoryPart(const std::string& path);

// Everything from the last separator to the end, the separator included. A path without a
// separator raises Error(Argument) "invalid string position: ..." naming `what` and the path.
std::string namePart(const std::string& path, const char* what);

// `name` with everything from the last occurrence of `extension` removed (case-sensitive);
// unchanged when `extension` does not occur.
std::string stripFromLast(const std::string& name, const std::string& extension);

// The part of `name` from its last '.', which must exist: a name without '.' raises
// Error(Argument) "invalid string position: ..." naming `what` and the name (escaped: names
// come from data).
std::string extensionFromLastDot(const std::string& name, const char* what);

}  // namespace vellmark
