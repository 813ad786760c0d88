// Names that come from inside a file (archive members, bundle resources, sky members) and
// become names of files in a folder the user chose. One rule for all of them, the same on
// every platform, so that a name that would leave the folder, open a device or be changed
// by Windows is refused everywhere, and a folder unpacked on Linux holds what it would on
// Windows. Also the one way such names are shown in messages.
#pragma once

#include <cstddef>
#include <optional>
#include <map>
#include <string>
#include <string_view>

namespace vellmark {

// The longest name most file systems take (NAME_MAX, and NTFS's 255 UTF-16 units).
inline constexpr std::size_t kMaxFileNameBytes = 255;

// Why `name` cannot be the name of a file inside the output folder, or nullopt when it can.
// Refused: empty names, more than `maxBytes` bytes, "." and anything containing "..", either
// path separator, a drive letter or any ':' (alternate data streams), control characters
// (below 0x20 and 0x7F), the characters Windows does not allow in names (< > " | ? *), a
// trailing dot or blank (Windows drops them, so "a." would be written as "a"), and the
// Windows device names (CON, PRN, AUX, NUL, CONIN$, CONOUT$, COM0-9, LPT0-9), with or without
// an extension, in any case. Bytes from 0x80 up are left alone: the name's encoding is the
// file's business.
std::optional<std::string> fileNameProblem(std::string_view name, std::size_t maxBytes = kMaxFileNameBytes);

// `name` for a message or a listing: printable ASCII as it is, the backslash and every other
// byte as \xHH, so that a name cannot move the cursor, colour the terminal or pass for two.
std::string printableName(std::string_view name);

// The names already given to files in one folder, compared without regard to ASCII case,
// as Windows and macOS compare them: "ok.txt" and "OK.TXT" are one file there.
class FileNameSet {
 public:
  // Adds `name`, or returns the name it clashes with (as that was added) and adds nothing.
  std::optional<std::string> insert(std::string_view name);
  bool contains(std::string_view name) const { return names_.count(folded(name)) != 0; }

 private:
  static std::string folded(std::string_view name);
  std::map<std::string, std::string> names_;  // folded -> as added
};

}  // namespace vellmark
